#include "tests/fakes/FakeTree.h"

namespace murlo {

namespace {

class Element : public AccessibleElement {
public:
    explicit Element(qint64 pid)
        : m_pid(pid) {}
    [[nodiscard]] bool isSame(const AccessibleElement& other) const override {
        return this == &other;
    }
    [[nodiscard]] qint64 pid() const override { return m_pid; }

private:
    qint64 m_pid;
};

QRectF rectOf(const QStringList& words, const QString& line) {
    QList<double> numbers;
    for (const QString& word : words.mid(1, 4)) {
        bool isNumber = false;
        numbers.append(word.toDouble(&isNumber));
        if (!isNumber) numbers.clear();
    }
    if (numbers.size() != 4) qFatal("no rectangle in: %s", qPrintable(line));
    return {numbers[0], numbers[1], numbers[2], numbers[3]};
}

int numberAfter(const QStringList& words, const char* word, int otherwise) {
    const qsizetype at = words.indexOf(QLatin1String(word));
    return at < 0 ? otherwise : words.value(at + 1).toInt();
}

AccessibleNode nodeOf(const QStringList& words, const QString& line) {
    AccessibleNode node;
    node.role = words[0].section(QLatin1Char('/'), 0, 0);
    node.subrole = words[0].section(QLatin1Char('/'), 1);
    node.frame = rectOf(words, line);
    node.valueSettable = !words.contains(QStringLiteral("fixed"));
    if (words.contains(QStringLiteral("disabled"))) node.enabled = false;
    return node;
}

} // namespace

FakeTree::FakeTree(Scheduler& scheduler, const QStringList& lines,
                   const std::function<ElementRef(qint64)>& makeElement)
    : m_scheduler(scheduler) {
    qint64 pid = 9;
    for (const int reading : {1, 2}) {
        std::vector<AccessibleNode*> parents; // by depth, the window's first
        pid = 9;
        for (const QString& line : lines) {
            const QStringList words = line.simplified().split(QLatin1Char(' '));
            const qsizetype depth = (line.size() - line.trimmed().size()) / 2;
            if (words[0] == QLatin1String("screen")) {
                if (reading > 1) continue;
                screens.screens.append(rectOf(words, line));
                screens.scales.append(numberAfter(words, "scale", 1));
            } else if (words[0] == QLatin1String("application")) {
                Described& described = applications[++pid];
                described.name = words.value(1);
                described.partly = words.contains(QStringLiteral("partly"));
                described.latency =
                    described.partly || words.contains(QStringLiteral("never"))
                        ? -1
                        : words.value(words.indexOf(QStringLiteral("after")) + 1).toDouble();
                described.from[reading].silent = words.contains(QStringLiteral("silent"));
            } else if (numberAfter(words, "reading", 1) <= reading) {
                AccessibleNode node = nodeOf(words, line);
                node.element = makeElement ? makeElement(pid) : std::make_shared<Element>(pid);
                AccessibleApplication& application = applications.at(pid).from.at(reading);
                if (words[0] == QLatin1String("focused")) {
                    node.role = QStringLiteral("AXTextField");
                    application.focused = node;
                } else if (words[0] == QLatin1String("window")) {
                    const bool minimized = words.contains(QStringLiteral("minimized"));
                    if (reading == 1 && !minimized)
                        shown.append({pid,
                                      {},
                                      *node.frame,
                                      *node.frame,
                                      !words.contains(QStringLiteral("panel"))});
                    application.windows.push_back({node, {}, true, false, minimized});
                    parents = {&application.windows.back().root};
                } else {
                    parents.resize(static_cast<std::size_t>(depth - 1));
                    AccessibleNode* parent = parents.back();
                    const AccessibleNode group = [&] {
                        AccessibleNode plain = node;
                        plain.role = QStringLiteral("AXGroup");
                        return plain;
                    }();
                    for (int i = numberAfter(words, "below", 0); i > 0; --i) {
                        parent->children.push_back(group);
                        parent = &parent->children.back();
                    }
                    for (int i = numberAfter(words, "times", 1); i > 0; --i)
                        parent->children.push_back(node);
                    parents.push_back(&parent->children.back());
                }
            }
        }
    }
    if (screens.screens.isEmpty()) screens.screens.append({0, 0, 1280, 900});
}

class FakeTree::Reading : public TreeReading {
public:
    using Done = std::function<void(const AccessibleApplication&)>;

    Reading(Scheduler& scheduler, Described& described, int mostWindows, Done done)
        : m_described(described)
        , m_answer(described.from.at(std::min(++described.readings, 2)))
        , m_done(std::move(done)) {
        ++described.underWay;
        if (m_answer.windows.size() > static_cast<std::size_t>(mostWindows))
            m_answer.windows.resize(static_cast<std::size_t>(mostWindows));
        if (described.latency >= 0)
            m_wait = scheduler.after(described.latency, [this] { end(m_answer); });
    }
    ~Reading() override {
        if (m_done) --m_described.underWay;
    }
    void handOver() override { end(m_described.partly ? m_answer : AccessibleApplication()); }

private:
    void end(AccessibleApplication answer) {
        if (!m_done) return;
        --m_described.underWay;
        std::exchange(m_done, nullptr)(answer); // it may destroy this
    }

    Described& m_described;
    AccessibleApplication m_answer;
    Done m_done;
    ScheduledWork m_wait;
};

std::unique_ptr<TreeReading>
FakeTree::read(qint64 pid, int mostWindows,
               std::function<void(const AccessibleApplication&)> done) {
    return std::make_unique<Reading>(m_scheduler, applications.at(pid), mostWindows,
                                     std::move(done));
}

} // namespace murlo
