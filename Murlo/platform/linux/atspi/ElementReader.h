#pragma once

#include "AtspiBus.h"
#include "AtspiRoles.h"
#include "platform/Accessibility.h"

namespace murlo {

/// One object of another program with what was read of it.
class AtspiElement : public AccessibleElement {
public:
    [[nodiscard]] bool isSame(const AccessibleElement& other) const override;
    [[nodiscard]] qint64 pid() const override { return processId; }

    AtspiReference reference;
    qint64 processId = 0;
    AtspiRole role = AtspiRole::invalid;
    AtspiDescription description;
    AtspiStates states;
    QString title;
    /// In device pixels; empty when the object told none. `windowExtents` counts from the window's
    /// top left corner.
    QRect screenExtents;
    QRect windowExtents;
    /// The toolkit does not know where its windows are; only `windowExtents` mean something.
    bool knowsWindowExtentsOnly = false;
    std::shared_ptr<const AtspiElement> parent;
    /// The topmost object above this one; it may be filled in shortly after the element is known.
    std::shared_ptr<const AtspiElement> window;
};

/// Reads objects with all their attributes: everything of one object in one round trip, its
/// ancestors one after another. Main thread; it lives as long as the bus.
class ElementReader {
public:
    /// The object itself and those above it that are read together.
    static constexpr size_t levels = 4;

    explicit ElementReader(AtspiBus& bus);

    using Done = std::function<void(const std::shared_ptr<const AtspiElement>&)>;
    /// Reads `object` and up to three ancestors, then hands the element over, null when the object
    /// did not answer in time. Its `window` follows by itself when it is farther up.
    void read(const AtspiReference& object, Done done);

private:
    /// What is the same for all objects of a program.
    struct Program {
        qint64 pid = 0;
        bool knowsWindowExtentsOnly = false;
    };
    struct Reading {
        std::vector<std::shared_ptr<AtspiElement>> chain;
        Done done;
    };

    /// Calls `then` once what is the same for all objects of the program is known.
    void withProgram(const QString& service, const std::function<void()>& then);
    void readLevel(const std::shared_ptr<Reading>& reading, const AtspiReference& object);
    void addLevel(const std::shared_ptr<Reading>& reading, const AtspiReference& object,
                  const AtspiBus::Replies& replies);
    void climb(const std::shared_ptr<Reading>& reading, const AtspiReference& below,
               const AtspiReference& object, int depth);
    void readWindow(const std::shared_ptr<Reading>& reading, const AtspiReference& object);
    std::vector<QDBusMessage> calls(const AtspiReference& object) const;
    std::shared_ptr<AtspiElement> elementFrom(const AtspiReference& object,
                                              const AtspiBus::Replies& replies);

    AtspiBus& m_bus;
    QHash<QString, Program> m_programs;
};

} // namespace murlo
