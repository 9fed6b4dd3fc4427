#pragma once

#include "platform/Pasteboard.h"
#include "platform/Scheduler.h"

#include <optional>

namespace murlo {

/// A clipboard in memory, shared with an imagined second program whose doings are the `foreign…`
/// calls. Data of a responsive owner is there on a later turn of the scheduler, that of a hung
/// owner never.
class FakePasteboard : public Pasteboard {
public:
    explicit FakePasteboard(Scheduler& scheduler);
    ~FakePasteboard() override;

    [[nodiscard]] qint64 changeCount() const override { return m_changeCount; }
    qint64 setString(const QString& text) override;
    qint64 lendString(const QString& text) override;
    void write(const PasteboardSnapshot& snapshot) override;
    [[nodiscard]] std::shared_ptr<PasteboardReading> read() override;

    /// The other program copies something; `changed` follows on a later turn.
    void foreignCopy(const PasteboardItem& item) { foreignCopy(QList<PasteboardItem>{item}); }
    void foreignCopy(const QList<PasteboardItem>& items);
    /// The other program stops answering, or answers again what was asked meanwhile.
    void foreignHang(bool hung);
    /// The other program ends, and its content with it.
    void foreignExit();
    /// Formats that the other program offers without ever handing them over.
    void foreignWithhold(const QStringList& formats) { m_withheld = formats; }

    [[nodiscard]] const QList<PasteboardItem>& items() const { return m_items; }
    /// The plain text that a paste would bring now.
    [[nodiscard]] std::optional<QString> text() const;
    /// Everything this application has put on the clipboard, by `setString` and `lendString`, in
    /// order.
    QStringList written;
    int readings = 0;

private:
    class Reading;

    void become(const QList<PasteboardItem>& items, bool foreign);
    void answer();

    Scheduler& m_scheduler;
    qint64 m_changeCount = 0;
    QList<PasteboardItem> m_items;
    QStringList m_withheld;
    bool m_foreign = false;
    bool m_hung = false;
    QList<std::weak_ptr<Reading>> m_readings;
    Lifetime m_lifetime;
};

} // namespace murlo
