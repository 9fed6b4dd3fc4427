#include "platform/linux/freedesktop/MimeApps.h"

#include <QList>

#include <optional>

namespace murlo::MimeApps {

namespace {

const QByteArray defaults = QByteArrayLiteral("[Default Applications]");

/// Calls `visit(group, line)` for each line, whose results, in order, make the new text.
template <typename Visit>
QByteArray rewritten(const QByteArray& text, Visit visit) {
    QByteArray result;
    QByteArray group;
    for (qsizetype at = 0; at < text.size();) {
        const qsizetype end = text.indexOf('\n', at);
        const QByteArray line = text.mid(at, end < 0 ? -1 : end + 1 - at);
        at += line.size();
        if (line.startsWith('[')) group = line.trimmed();
        result += visit(group, line);
    }
    return result;
}

/// The programs that a line names for the type; nothing when it is another line.
std::optional<QList<QByteArray>> programs(const QByteArray& line, const QByteArray& type) {
    const qsizetype equals = line.indexOf('=');
    if (equals < 0 || line.first(equals).trimmed() != type) return std::nullopt;
    QList<QByteArray> names;
    for (const QByteArray& name : line.mid(equals + 1).split(';'))
        if (!name.trimmed().isEmpty()) names << name.trimmed();
    return names;
}

} // namespace

bool isDefault(const QByteArray& text, const QByteArray& type, const QByteArray& id) {
    bool found = false;
    (void)rewritten(text, [&](const QByteArray& group, const QByteArray& line) {
        if (group == defaults)
            if (const auto names = programs(line, type)) found = names->value(0) == id;
        return QByteArray();
    });
    return found;
}

QByteArray withDefault(const QByteArray& text, const QByteArray& type, const QByteArray& id) {
    const QByteArray wanted = type + '=' + id + '\n';
    bool written = false;
    QByteArray result =
        rewritten(text, [&](const QByteArray& group, const QByteArray& line) -> QByteArray {
            if (group != defaults) return line;
            if (line.trimmed() == defaults && !std::exchange(written, true))
                return defaults + '\n' + wanted;
            return programs(line, type) ? QByteArray() : line;
        });
    if (written) return result;
    if (!result.isEmpty() && !result.endsWith('\n')) result += '\n';
    return result + defaults + '\n' + wanted;
}

QByteArray without(const QByteArray& text, const QByteArray& type, const QByteArray& id) {
    return rewritten(text, [&](const QByteArray&, const QByteArray& line) -> QByteArray {
        auto names = programs(line, type);
        if (!names || names->removeAll(id) == 0) return line;
        return names->isEmpty() ? QByteArray() : type + '=' + names->join(';') + '\n';
    });
}

} // namespace murlo::MimeApps
