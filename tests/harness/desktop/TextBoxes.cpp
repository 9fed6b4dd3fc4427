#include "tests/harness/desktop/TextBoxes.h"

#include "tests/harness/desktop/Windows.h"

#include <QDBusArgument>
#include <QDBusConnectionInterface>
#include <QDBusInterface>
#include <QDBusObjectPath>
#include <QDBusReply>
#include <QUuid>

#include <algorithm>

namespace murlo {

namespace {

constexpr int limit = 1000; // milliseconds for an answer
constexpr int deepest = 60;
// Of the accessibility interface's enumerations of states and roles.
constexpr int stateEditable = 7;
constexpr int stateFocused = 12;
constexpr int stateShowing = 25;
constexpr uint roleTerminal = 60;

QString accessibilityBus() {
    QDBusInterface bus(QStringLiteral("org.a11y.Bus"), QStringLiteral("/org/a11y/bus"),
                       QStringLiteral("org.a11y.Bus"));
    return QDBusReply<QString>(bus.call(QStringLiteral("GetAddress"))).value();
}

} // namespace

/// How a message refers to an element.
static const QDBusArgument& operator>>(const QDBusArgument& message, TextBoxes::Box& box) {
    QDBusObjectPath path;
    message.beginStructure();
    message >> box.service >> path;
    message.endStructure();
    box.path = path.path();
    return message;
}

TextBoxes::TextBoxes(qint64 pid)
    : m_pid(pid)
    , m_name(QUuid::createUuid().toString())
    , m_bus(QDBusConnection::connectToBus(accessibilityBus(), m_name)) {}

QVariant TextBoxes::ask(const Box& box, const char* interface, const char* method,
                        const QVariantList& arguments) const {
    QDBusMessage question = QDBusMessage::createMethodCall(
        box.service, box.path, QStringLiteral("org.a11y.atspi.") + QLatin1String(interface),
        QLatin1String(method));
    question.setArguments(arguments);
    const QDBusMessage answer = m_bus.call(question, QDBus::Block, limit);
    return answer.type() == QDBusMessage::ReplyMessage ? answer.arguments().value(0) : QVariant();
}

QList<TextBoxes::Box> TextBoxes::childrenOf(const Box& box) const {
    return qdbus_cast<QList<Box>>(ask(box, "Accessible", "GetChildren"));
}

QList<TextBoxes::Box> TextBoxes::find() const {
    const Box desktop{QStringLiteral("org.a11y.atspi.Registry"),
                      QStringLiteral("/org/a11y/atspi/accessible/root"), QRect()};
    QList<Box> found;
    for (const Box& program : childrenOf(desktop)) {
        const QDBusReply<uint> process = m_bus.interface()->servicePid(program.service);
        if (process.isValid() && descendsFrom(process.value(), m_pid)) collect(program, 0, found);
    }
    std::ranges::stable_sort(found, {}, [](const Box& box) { return box.place.top(); });
    return found;
}

void TextBoxes::collect(const Box& element, int depth, QList<Box>& found) const {
    const auto states = qdbus_cast<QList<uint>>(ask(element, "Accessible", "GetState"));
    const auto is = [&](int state) {
        return ((states.value(state / 32) >> (state % 32)) & 1U) != 0;
    };
    if (depth > deepest || (depth > 0 && !is(stateShowing))) return; // a program itself shows not
    if (is(stateEditable) || ask(element, "Accessible", "GetRole").toUInt() == roleTerminal) {
        found.append({element.service, element.path,
                      qdbus_cast<QRect>(ask(element, "Component", "GetExtents", {0U})),
                      is(stateFocused)});
    } else {
        for (const Box& child : childrenOf(element)) collect(child, depth + 1, found);
    }
}

std::optional<QString> TextBoxes::textOf(const Box& box) const {
    const QVariant text = ask(box, "Text", "GetText", {0, -1});
    return text.isValid() ? std::optional(text.toString()) : std::nullopt;
}

} // namespace murlo
