#include "RawMember.h"

namespace murlo::backend {

namespace {

qsizetype afterBlanks(const QByteArray& text, qsizetype at) {
    while (at < text.size() && QByteArrayView(" \t\r\n").contains(text[at])) ++at;
    return at;
}

/// From the opening quote to behind the closing one.
qsizetype afterString(const QByteArray& text, qsizetype at) {
    for (++at; at < text.size() && text[at] != '"'; ++at)
        if (text[at] == '\\') ++at;
    return at + 1;
}

/// From the first byte of a value to behind its last one.
qsizetype afterValue(const QByteArray& text, qsizetype at) {
    int depth = 0;
    while (at < text.size()) {
        const char c = text[at];
        if (c == '"') {
            at = afterString(text, at);
        } else if (depth == 0 && (c == ',' || c == '}' || c == ']')) {
            return at;
        } else {
            if (c == '{' || c == '[') ++depth;
            if (c == '}' || c == ']') --depth;
            ++at;
        }
        if (depth == 0 && (c == '"' || c == '}' || c == ']')) return at;
    }
    return at;
}

} // namespace

QByteArray rawMember(const QByteArray& object, QByteArrayView name) {
    QByteArray found;
    qsizetype at = afterBlanks(object, 0) + 1; // behind the brace
    while ((at = afterBlanks(object, at)) < object.size() && object[at] == '"') {
        const qsizetype keyEnd = afterString(object, at);
        const QByteArray key = object.mid(at + 1, keyEnd - at - 2);
        const qsizetype value = afterBlanks(object, afterBlanks(object, keyEnd) + 1);
        const qsizetype end = afterValue(object, value);
        if (key == name) found = object.mid(value, end - value).trimmed();
        at = afterBlanks(object, end) + 1; // behind the comma
    }
    return found;
}

} // namespace murlo::backend
