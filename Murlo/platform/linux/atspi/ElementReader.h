#pragma once

#include "AtspiBus.h"
#include "AtspiElement.h"

namespace murlo {

/// Reads the properties of objects except their position: one object per round trip, its ancestors
/// one after another. Main thread; it must live as long as the bus.
class ElementReader {
public:
    explicit ElementReader(AtspiBus& bus);

    using Done = std::function<void(const std::shared_ptr<const AtspiElement>&)>;
    /// Reads `object` and up to three ancestors, then calls back with the element, null when the
    /// object did not answer in time. Its `window` is filled in later when it is farther up.
    void read(const AtspiReference& object, Done done);

private:
    struct Reading {
        std::vector<std::shared_ptr<AtspiElement>> chain;
        Done done;
    };

    /// Calls `then` once the properties shared by all objects of the program are known.
    void withProgram(const QString& service, const std::function<void()>& then);
    void readLevel(const std::shared_ptr<Reading>& reading, const AtspiReference& object);
    void addLevel(const std::shared_ptr<Reading>& reading, const AtspiReference& object,
                  const std::shared_ptr<AtspiElement>& element, const AtspiReference& parent);
    void climb(const std::shared_ptr<Reading>& reading, const AtspiReference& below,
               const AtspiReference& object, int depth);
    void readWindow(const std::shared_ptr<Reading>& reading, const AtspiReference& object);
    /// Reads all properties of an object of a known program; `then` gets null when it did not
    /// answer.
    void ask(const AtspiReference& object,
             const std::function<void(const std::shared_ptr<AtspiElement>&,
                                      const AtspiReference& parent)>& then);

    AtspiBus& m_bus;
    QHash<QString, AtspiProgram> m_programs;
};

} // namespace murlo
