#include "look/DesktopWords.h"

#include <utility>

namespace murlo {

QString desktopWords(const QString& text) {
    static const std::pair<QString, QString> table[] = {
        {QStringLiteral("System Settings"), QStringLiteral("Settings")},
        {QStringLiteral("your Mac"), QStringLiteral("your computer")},
        {QStringLiteral("⌘V"), QStringLiteral("Ctrl+V")},
    };
    QString words = text;
    for (const auto& [theirs, ours] : table) words.replace(theirs, ours);
    return words;
}

} // namespace murlo
