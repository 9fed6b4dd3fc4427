#include "MurloKit/HintLabels.h"

#include <algorithm>
#include <deque>

namespace murlo {

QStringList hintLabels(qsizetype count) {
    const qsizetype wanted = std::min<qsizetype>(count, mostHints);
    const QString letters = QString::fromLatin1(HintAlphabet::letters).toUpper();
    // Per length, in the order of the alphabet. Replacing one label by its 26 extensions gains 25.
    std::deque<QString> current;
    for (const QChar letter : letters) current.push_back(letter);
    std::deque<QString> longer;
    while (std::ssize(current) + std::ssize(longer) < wanted) {
        if (current.empty()) std::swap(current, longer);
        const QString prefix = current.back();
        current.pop_back();
        for (auto letter = letters.crbegin(); letter != letters.crend(); ++letter)
            longer.push_front(prefix + *letter);
    }
    QStringList labels(current.begin(), current.end());
    labels.append(QStringList(longer.begin(), longer.end()));
    return labels.mid(0, wanted);
}

} // namespace murlo
