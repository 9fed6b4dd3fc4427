#pragma once

#include "platform/Pasteboard.h"

#include <QByteArray>
#include <QList>
#include <QString>

namespace murlo {

/// One format of a clipboard's content: the target that a requestor asks for, and the property that
/// answers it. A value type without a connection: safe to pass between threads.
struct ClipboardFormat {
    QString target;
    /// Name of the property's type; the target's own name for most formats.
    QString type;
    /// Size of the property's units: 8, 16 or 32 bits.
    int bits = 8;
    /// As transferred, except that 32-bit units are in this machine's byte order.
    QByteArray bytes;

    /// The format's name in a `PasteboardItem`: the target, followed by "|TYPE|BITS" where the
    /// property differs from the usual (type named as the target, 8 bits), so that `named` can
    /// restore it exactly.
    [[nodiscard]] QString name() const;
    /// The reverse of `name`.
    [[nodiscard]] static ClipboardFormat named(const QString& name, const QByteArray& bytes);
};

/// What this application puts on the clipboard.
struct ClipboardContent {
    QList<ClipboardFormat> formats;
    /// Lent: on the clipboard only for the paste under way.
    bool isLent = false;

    /// The formats of a plain text.
    [[nodiscard]] static ClipboardContent text(const QString& text);
    /// The same with the mark that keeps it out of clipboard histories.
    [[nodiscard]] static ClipboardContent lent(const QString& text);
    /// X has a single item only: of a format that several items have, the first is used.
    [[nodiscard]] static ClipboardContent restored(const PasteboardSnapshot& snapshot);
    [[nodiscard]] PasteboardSnapshot snapshot() const;
};

/// Format by which password managers mark a content that must not be stored; its value is
/// `secretMark`. The convention is KDE's, and clipboard histories of all desktops follow it.
inline const QString secretHint = QStringLiteral("x-kde-passwordManagerHint");
inline const QByteArray secretMark = QByteArrayLiteral("secret");

/// Whether the target is a query or a command to the owner rather than a format of the content.
[[nodiscard]] bool isProtocolTarget(const QString& target);
/// Whether a property of this type names a resource of its owner, meaningless once that is gone.
[[nodiscard]] bool isResourceType(const QString& type);

} // namespace murlo
