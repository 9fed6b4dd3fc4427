#include "tests/harness/desktop/Letters.h"

#include "hints/InputScanner.h"
#include "hints/ScreenList.h"
#include "platform/Platform.h"
#include "tests/harness/desktop/Waiting.h"
#include "tests/harness/desktop/Windows.h"

namespace murlo {

QByteArray keyOf(QChar letter) {
    for (const auto& [row, letters] : {std::pair("AD", "QWERTYUIOP"), std::pair("AC", "ASDFGHJKL"),
                                       std::pair("AB", "ZXCVBNM")}) {
        const qsizetype at = QString::fromLatin1(letters).indexOf(letter);
        if (at >= 0) return row + QByteArray::number(at + 1).rightJustified(2, '0');
    }
    return {};
}

QString letterOnBoxOf(qint64 pid) {
    const Platform platform = loadPlatform();
    InputScanner scanner(*platform.accessibilityTree, *platform.applications, *platform.scheduler,
                         currentScreens, QCoreApplication::applicationPid());
    if (!waitFor([&] { return platform.accessibility->isTrusted(); })) return {};
    std::optional<QList<InputTarget>> found;
    scanner.scan([&found](const QList<InputTarget>& targets) { found = targets; });
    (void)waitFor([&found] { return found.has_value(); });
    QString label;
    double largest = 0;
    for (const InputTarget& target : found.value_or(QList<InputTarget>())) {
        const double area = target.frame.width() * target.frame.height();
        if (area > largest && descendsFrom(target.pid, pid)) {
            largest = area;
            label = target.hint;
        }
    }
    return label;
}

} // namespace murlo
