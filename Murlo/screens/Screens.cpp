#include "screens/Screens.h"

#include "look/Words.h"

#include <QDir>
#include <QGuiApplication>
#include <QImage>
#include <QLocale>

namespace murlo {

namespace {

/// Writes the pictures of some screens; returns how many, or nothing when one could not be.
std::optional<int> render(const QDir& folder, const QString& prefix,
                          const std::vector<Screen>& screens) {
    int written = 0;
    for (const Screen& screen : screens) {
        for (const int scale : {1, 2}) {
            QImage image(screen.size * scale, QImage::Format_ARGB32_Premultiplied);
            image.setDevicePixelRatio(scale);
            image.fill(Qt::transparent);
            {
                QPainter painter(&image);
                screen.paint(painter);
            }
            const QString name = prefix + screen.name +
                                 (scale == 1 ? QStringLiteral(".png") : QStringLiteral("@2x.png"));
            if (!image.save(folder.filePath(name))) return std::nullopt;
            ++written;
        }
    }
    return written;
}

/// What is read more than looked at: for other languages and directions of writing.
std::vector<Screen> wordyScreens() {
    std::vector<Screen> screens = trayScreens();
    for (Screen& screen : engineScreens()) screens.push_back(std::move(screen));
    for (Screen& card : cardScreens()) {
        if (card.name.startsWith(QLatin1String("card-failed")) ||
            card.name.startsWith(QLatin1String("card-transcribing-")))
            screens.push_back(std::move(card));
    }
    return screens;
}

} // namespace

Screen grabbed(const QString& name, const std::function<std::unique_ptr<QWidget>()>& make) {
    const auto laidOut = [make] {
        auto widget = make();
        widget->ensurePolished();
        widget->adjustSize();
        return widget;
    };
    return {name, laidOut()->size(), [laidOut](QPainter& painter) {
                const auto widget = laidOut();
                widget->render(&painter);
            }};
}

std::optional<int> renderScreens(const QString& folder) {
    const QDir directory(folder);
    if (!directory.mkpath(QStringLiteral("."))) return std::nullopt;
    int written = 0;
    const auto add = [&](const QString& prefix, const std::vector<Screen>& screens) {
        const auto some = render(directory, prefix, screens);
        written += some.value_or(0);
        return some.has_value();
    };
    Words::speak(QLocale::c());
    bool works = add({}, cardScreens()) && add({}, hintLayers()) && add({}, trayScreens()) &&
                 add({}, engineScreens());
    QGuiApplication::setLayoutDirection(Qt::RightToLeft);
    works = works && add(QStringLiteral("right-to-left-"), wordyScreens());
    Words::speak(QLocale(QLocale::German));
    works = works && add(QStringLiteral("german-"), wordyScreens());
    Words::speak(QLocale::system());
    return works ? std::optional(written) : std::nullopt;
}

} // namespace murlo
