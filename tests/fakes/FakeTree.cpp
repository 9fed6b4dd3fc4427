#include "tests/fakes/FakeTree.h"

namespace murlo {

namespace {

/// A line of the description.
struct Line {
    explicit Line(const QString& line)
        : text(line)
        , words(line.simplified().split(QLatin1Char(' ')))
        , depth((line.size() - line.trimmed().size()) / 2) {}

    [[nodiscard]] bool has(const char* word) const { return words.contains(QLatin1String(word)); }
    [[nodiscard]] double after(const char* word, double otherwise) const {
        const qsizetype at = words.indexOf(QLatin1String(word));
        return at < 0 ? otherwise : words.value(at + 1).toDouble();
    }
    [[nodiscard]] QRectF rect() const {
        std::array<double, 4> numbers{};
        for (std::size_t i = 0; i < 4; ++i) {
            bool isNumber = false;
            numbers[i] = words.value(static_cast<qsizetype>(i) + 1).toDouble(&isNumber);
            if (!isNumber) qFatal("no rectangle in: %s", qPrintable(text));
        }
        return {numbers[0], numbers[1], numbers[2], numbers[3]};
    }

    QString text;
    QStringList words;
    qsizetype depth;
};

} // namespace

FakeTree::FakeTree(Scheduler& scheduler, const QStringList& lines, FakeAccessibility* elements)
    : m_scheduler(scheduler) {
    FakeAccessibility own(scheduler);
    FakeAccessibility& made = elements ? *elements : own;
    qint64 pid = 9;
    std::vector<AccessibleNode*> parents; // by depth, the window's first
    const auto nodeOf = [&](const Line& line, const QString& name) {
        AccessibleNode node{made.add(name), factsNamed(name), line.rect(), {}};
        made.node(node.element).pid = pid;
        node.facts.enabled = !line.has("disabled");
        if (line.has("fixed")) node.facts.focusable = node.facts.editable = false;
        return node;
    };
    const auto readElement = [&](const Line& line, AccessibleApplication& application) {
        const QString& first = line.words[0];
        if (first == QLatin1String("focused")) {
            application.focused = nodeOf(line, QStringLiteral("AXTextField"));
        } else if (first == QLatin1String("window")) {
            application.windows.push_back({nodeOf(line, QStringLiteral("AXWindow")), {}, true});
            application.windows.back().minimized = line.has("minimized");
            parents = {&application.windows.back().root};
        } else {
            parents.resize(static_cast<std::size_t>(line.depth - 1));
            AccessibleNode& parent = *parents.back();
            AccessibleNode& node = parent.children.emplace_back(nodeOf(line, first));
            made.node(node.element).parent = parent.element;
            made.node(node.element).window = parents.front()->element;
            parents.push_back(&node);
        }
    };
    for (const int reading : {1, 2}) {
        pid = 9;
        for (const QString& text : lines) {
            const Line line(text);
            if (line.words[0] == QLatin1String("screen")) {
                if (reading > 1) continue;
                const QRectF device = line.rect();
                const QSizeF points = device.size() / line.after("scale", 1);
                const QRect frame = QRectF(device.topLeft(), points).toRect();
                screens.append({frame, frame, device});
            } else if (line.words[0] == QLatin1String("application")) {
                Described& described = applications[++pid];
                described.name = line.words.value(1);
                described.latency = line.after("after", 0);
                described.endless = line.has("endless");
                described.from[reading].silent = line.has("silent");
            } else if (line.after("reading", 1) <= reading) {
                readElement(line, applications.at(pid).from.at(reading));
                if (reading == 1 && line.words[0] == QLatin1String("window") &&
                    !line.has("minimized"))
                    shown.append({pid, {}, line.rect(), line.rect(), !line.has("panel")});
            }
        }
    }
    const QRect usual(0, 0, 1280, 900);
    if (screens.isEmpty()) screens.append({usual, usual, usual});
}

class FakeTree::Reading : public TreeReading {
public:
    using Done = std::function<void(const AccessibleApplication&)>;

    Reading(Scheduler& scheduler, Described& described, int mostWindows, Done done)
        : m_described(described)
        , m_answer(described.from[std::min(++described.readings, 2)])
        , m_done(std::move(done)) {
        constexpr double limit = 0.4;
        ++described.underWay;
        if (m_answer.windows.size() > static_cast<std::size_t>(mostWindows))
            m_answer.windows.resize(static_cast<std::size_t>(mostWindows));
        if (described.hung) {
            m_answer = {};
            m_answer.hung = true;
        }
        if (!described.endless)
            m_wait = scheduler.after(described.hung ? limit : described.latency, [this] { end(); });
    }
    ~Reading() override {
        if (m_done) --m_described.underWay;
    }
    void handOver() override {
        if (!m_described.endless) m_answer = {}; // it had said nothing yet
        end();
    }

private:
    void end() {
        if (!m_done) return;
        --m_described.underWay;
        const AccessibleApplication answer = m_answer;
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
    return std::make_unique<Reading>(m_scheduler, applications[pid], mostWindows, std::move(done));
}

} // namespace murlo
