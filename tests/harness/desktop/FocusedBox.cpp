#include "tests/harness/desktop/FocusedBox.h"

#include "tests/harness/desktop/Windows.h"

#include <QDBusArgument>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusPendingReply>
#include <QDBusReply>
#include <QUuid>

namespace murlo {

namespace {

constexpr int limit = 1000; // milliseconds for an answer
// Of the accessibility interface's enumerations of states and roles.
constexpr int stateEditable = 7;
constexpr int stateFocused = 12;
constexpr int stateShowing = 25;
constexpr uint roleTerminal = 60;

const QString accessible = QStringLiteral("org.a11y.atspi.Accessible");

QDBusMessage question(const QString& service, const QString& path, const QString& interface,
                      const QString& method) {
    return QDBusMessage::createMethodCall(service, path, interface, method);
}

QString accessibilityBusAddress() {
    const QDBusMessage answer = QDBusConnection::sessionBus().call(
        question(QStringLiteral("org.a11y.Bus"), QStringLiteral("/org/a11y/bus"),
                 QStringLiteral("org.a11y.Bus"), QStringLiteral("GetAddress")),
        QDBus::Block, limit);
    return answer.arguments().value(0).toString();
}

bool has(const QList<uint>& states, int state) {
    return ((states.value(state / 32) >> (state % 32)) & 1U) != 0;
}

} // namespace

/// What is asked of every element at once.
struct FocusedBox::Answers {
    QDBusPendingCall states;
    QDBusPendingCall role;
    QDBusPendingCall children;
};

FocusedBox::FocusedBox(qint64 pid)
    : m_pid(pid)
    , m_connectionName(QUuid::createUuid().toString())
    , m_bus(QDBusConnection::connectToBus(accessibilityBusAddress(), m_connectionName)) {}

FocusedBox::~FocusedBox() {
    QDBusConnection::disconnectFromBus(m_connectionName);
}

bool FocusedBox::find() {
    m_box.reset();
    const QList<Node> running = applications();
    for (const Node& application : running) {
        if (!m_box && isOurs(application.service)) m_box = search(application);
    }
    return m_box.has_value();
}

std::optional<QString> FocusedBox::text() const {
    if (!m_box) return std::nullopt;
    QDBusMessage message =
        question(m_box->service, m_box->path, QStringLiteral("org.a11y.atspi.Text"),
                 QStringLiteral("GetText"));
    message << 0 << -1;
    const QDBusReply<QString> answer = m_bus.call(message, QDBus::Block, limit);
    return answer.isValid() ? std::optional(answer.value()) : std::nullopt;
}

namespace {

QList<std::pair<QString, QString>> references(const QDBusMessage& answer) {
    QList<std::pair<QString, QString>> found;
    if (answer.type() != QDBusMessage::ReplyMessage ||
        answer.signature() != QLatin1String("a(so)")) {
        return found;
    }
    const auto list = answer.arguments().constFirst().value<QDBusArgument>();
    list.beginArray();
    while (!list.atEnd()) {
        QString service;
        QDBusObjectPath path;
        list.beginStructure();
        list >> service >> path;
        list.endStructure();
        found.append({service, path.path()});
    }
    list.endArray();
    return found;
}

} // namespace

QList<FocusedBox::Node> FocusedBox::applications() const {
    const QDBusMessage answer =
        m_bus.call(question(QStringLiteral("org.a11y.atspi.Registry"),
                            QStringLiteral("/org/a11y/atspi/accessible/root"), accessible,
                            QStringLiteral("GetChildren")),
                   QDBus::Block, limit);
    QList<Node> found;
    for (const auto& [service, path] : references(answer)) found.append({service, path});
    return found;
}

bool FocusedBox::isOurs(const QString& service) const {
    const QDBusReply<uint> owner = m_bus.interface()->servicePid(service);
    if (!owner.isValid()) return false;
    return descendsFrom(owner.value(), m_pid);
}

std::optional<FocusedBox::Node> FocusedBox::search(const Node& application) const {
    QList<Node> level{application};
    for (int depth = 0; depth < 60 && !level.isEmpty(); ++depth) {
        // All questions of a level are under way together.
        std::vector<Answers> answers;
        answers.reserve(static_cast<std::size_t>(level.size()));
        for (const Node& node : std::as_const(level)) {
            const auto ask = [&](const char* method) {
                return m_bus.asyncCall(
                    question(node.service, node.path, accessible, QLatin1String(method)), limit);
            };
            answers.push_back({ask("GetState"), ask("GetRole"), ask("GetChildren")});
        }
        QList<Node> next;
        for (std::size_t i = 0; i < answers.size(); ++i) {
            QDBusPendingReply<QList<uint>> states = answers[i].states;
            QDBusPendingReply<uint> role = answers[i].role;
            states.waitForFinished();
            role.waitForFinished();
            answers[i].children.waitForFinished();
            const QList<uint> now = states.isError() ? QList<uint>() : states.value();
            const bool isBox =
                has(now, stateEditable) || (!role.isError() && role.value() == roleTerminal);
            const Node node = level.at(static_cast<qsizetype>(i));
            if (isBox && has(now, stateFocused)) return node;
            if (depth > 0 && !has(now, stateShowing)) continue;
            for (const auto& [service, path] : references(answers[i].children.reply()))
                next.append({service, path});
        }
        level = next;
    }
    return std::nullopt;
}

} // namespace murlo
