#include "tests/fakes/FakePasteboard.h"

#include <utility>

namespace murlo {

namespace {

constexpr double readingLimit = 0.3;
const QString textFormat = QStringLiteral("UTF8_STRING");
const QString secretFormat = QStringLiteral("x-kde-passwordManagerHint");

/// The first item's bytes in this format that has them.
std::optional<QByteArray> find(const QList<PasteboardItem>& items, const QString& wanted) {
    for (const PasteboardItem& item : items) {
        for (const auto& [format, bytes] : item) {
            if (format == wanted) return bytes;
        }
    }
    return std::nullopt;
}

} // namespace

class FakePasteboard::Reading : public PasteboardReading {
public:
    Reading(Scheduler& scheduler, qint64 changeCount, QList<PasteboardItem> source)
        : m_scheduler(scheduler)
        , m_changeCount(changeCount)
        , m_began(scheduler.uptime())
        , m_source(std::move(source))
        , m_isSecret(find(m_source, secretFormat) == QByteArray("secret"))
        , m_answered(m_isSecret) {}

    [[nodiscard]] qint64 changeCount() const override { return m_changeCount; }
    [[nodiscard]] bool isComplete() const override { return m_answered || isOver(); }
    [[nodiscard]] bool lacksText() const override {
        return m_answered && !find(m_source, textFormat);
    }
    [[nodiscard]] PasteboardSnapshot snapshot() const override {
        PasteboardSnapshot snapshot;
        for (const PasteboardItem& item : m_source) {
            PasteboardItem kept;
            for (const auto& format : item) {
                if (m_answered && !m_isSecret && !m_withheld.contains(format.first))
                    kept.append(format);
                else
                    snapshot.unread.append(format.first);
            }
            if (!kept.isEmpty()) snapshot.items.append(kept);
        }
        return snapshot;
    }
    void answer(const QStringList& withheld) {
        if (isComplete()) return;
        m_withheld = withheld;
        m_answered = true;
    }

private:
    [[nodiscard]] bool isOver() const { return m_scheduler.uptime() >= m_began + readingLimit; }

    Scheduler& m_scheduler;
    const qint64 m_changeCount;
    const double m_began;
    const QList<PasteboardItem> m_source;
    const bool m_isSecret; ///< nothing of it is handed over
    bool m_answered;
    QStringList m_withheld;
};

FakePasteboard::FakePasteboard(Scheduler& scheduler)
    : m_scheduler(scheduler) {}
FakePasteboard::~FakePasteboard() = default;

qint64 FakePasteboard::setString(const QString& text) {
    written.append(text);
    become({{{textFormat, text.toUtf8()}}}, false);
    return m_changeCount;
}

qint64 FakePasteboard::lendString(const QString& text) {
    written.append(text);
    become({{{textFormat, text.toUtf8()}, {secretFormat, "secret"}}}, false);
    return m_changeCount;
}

void FakePasteboard::write(const PasteboardSnapshot& snapshot) {
    become(snapshot.items, false);
}

std::shared_ptr<PasteboardReading> FakePasteboard::read() {
    ++readings;
    const auto reading = std::make_shared<Reading>(m_scheduler, m_changeCount, m_items);
    if (!m_foreign || m_items.isEmpty()) {
        reading->answer({});
    } else {
        m_readings.append(reading);
        m_scheduler.nextTurn(m_lifetime.guard([this] { answer(); }));
    }
    return reading;
}

void FakePasteboard::answer() {
    if (m_hung) return;
    for (const auto& waiting : std::exchange(m_readings, {})) {
        if (const auto reading = waiting.lock()) reading->answer(m_withheld);
    }
}

void FakePasteboard::become(const QList<PasteboardItem>& items, bool foreign) {
    ++m_changeCount;
    m_items = items;
    m_foreign = foreign;
    if (!foreign) return;
    m_scheduler.nextTurn(m_lifetime.guard([this] { Q_EMIT changed(); }));
}

void FakePasteboard::foreignCopy(const QList<PasteboardItem>& items) {
    m_withheld.clear();
    become(items, true);
}

void FakePasteboard::foreignHang(bool hung) {
    m_hung = hung;
    answer();
}

void FakePasteboard::foreignExit() {
    m_readings.clear();
    if (m_foreign) become({}, true);
}

std::optional<QString> FakePasteboard::text() const {
    const auto bytes = find(m_items, textFormat);
    return bytes ? std::optional(QString::fromUtf8(*bytes)) : std::nullopt;
}

} // namespace murlo
