#include "platform/linux/x11/clipboard/ClipboardContent.h"

#include <QSet>
#include <QStringList>

namespace murlo {

QString ClipboardFormat::name() const {
    if (type == target && bits == 8) return target;
    return QStringLiteral("%1|%2|%3").arg(target, type).arg(bits);
}

ClipboardFormat ClipboardFormat::named(const QString& name, const QByteArray& bytes) {
    const QStringList parts = name.split(QLatin1Char('|'));
    if (parts.size() >= 3) {
        const int bits = parts.last().toInt();
        const QString& type = parts[parts.size() - 2];
        if ((bits == 8 || bits == 16 || bits == 32) && !type.isEmpty())
            return {parts.mid(0, parts.size() - 2).join(QLatin1Char('|')), type, bits, bytes};
    }
    return {name, name, 8, bytes};
}

ClipboardContent ClipboardContent::text(const QString& text) {
    const QByteArray utf8 = text.toUtf8();
    const QString utf8String = QStringLiteral("UTF8_STRING");
    ClipboardContent content;
    for (const auto& target :
         {utf8String, QStringLiteral("text/plain;charset=utf-8"), QStringLiteral("text/plain")})
        content.formats.append({target, target, 8, utf8});
    // TEXT means "in any encoding you like"; STRING is Latin-1 and only offered when that loses
    // nothing.
    content.formats.append({QStringLiteral("TEXT"), utf8String, 8, utf8});
    const QByteArray latin1 = text.toLatin1();
    if (QString::fromLatin1(latin1) == text)
        content.formats.append({QStringLiteral("STRING"), QStringLiteral("STRING"), 8, latin1});
    return content;
}

ClipboardContent ClipboardContent::lent(const QString& text) {
    ClipboardContent content = ClipboardContent::text(text);
    content.formats.append({secretHint, secretHint, 8, secretMark});
    content.isLent = true;
    return content;
}

ClipboardContent ClipboardContent::restored(const PasteboardSnapshot& snapshot) {
    ClipboardContent content;
    QSet<QString> seen;
    for (const PasteboardItem& item : snapshot.items) {
        for (const auto& [name, bytes] : item) {
            const ClipboardFormat format = ClipboardFormat::named(name, bytes);
            if (seen.contains(format.target) || isProtocolTarget(format.target)) continue;
            seen.insert(format.target);
            content.formats.append(format);
        }
    }
    return content;
}

PasteboardSnapshot ClipboardContent::snapshot() const {
    PasteboardItem item;
    for (const ClipboardFormat& format : formats) item.append({format.name(), format.bytes});
    return {{item}, {}};
}

bool isProtocolTarget(const QString& target) {
    static const QSet<QString> protocol{QStringLiteral("TARGETS"),   QStringLiteral("MULTIPLE"),
                                        QStringLiteral("TIMESTAMP"), QStringLiteral("SAVE_TARGETS"),
                                        QStringLiteral("DELETE"),    QStringLiteral("INCR")};
    return protocol.contains(target) || target.startsWith(QLatin1String("INSERT_"));
}

bool isResourceType(const QString& type) {
    static const QSet<QString> resources{QStringLiteral("PIXMAP"), QStringLiteral("BITMAP"),
                                         QStringLiteral("DRAWABLE"), QStringLiteral("WINDOW"),
                                         QStringLiteral("COLORMAP")};
    return resources.contains(type);
}

} // namespace murlo
