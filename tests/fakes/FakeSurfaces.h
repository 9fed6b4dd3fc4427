#pragma once

#include "platform/Surfaces.h"

#include <QImage>

#include <vector>

namespace murlo {

/// Surfaces as pictures in memory; the test says what screens there are.
class FakeSurfaces : public Surfaces {
public:
    /// One surface; what it shows now is painted on demand.
    class Picture : public Surface {
    public:
        Picture(FakeSurfaces& owner, SurfaceTraits of)
            : traits(std::move(of))
            , m_owner(owner) {
            m_owner.made.push_back(this);
        }
        ~Picture() override { std::erase(m_owner.made, this); }
        void show() override { shown = true; }
        void hide() override { shown = false; }
        void update(const QRect& /*part*/) override { ++updates; }
        void flush() override {}
        void setShape(const std::optional<QRegion>& of) override { shape = of; }

        [[nodiscard]] QRect frame() const {
            return frameOf(traits.place, m_owner.onScreens, m_owner.at);
        }
        [[nodiscard]] QImage paint() const {
            QImage image(frame().size(), QImage::Format_ARGB32_Premultiplied);
            image.fill(Qt::transparent);
            QPainter painter(&image);
            traits.paint(painter);
            return image;
        }

        SurfaceTraits traits;
        bool shown = false;
        int updates = 0;
        std::optional<QRegion> shape;

    private:
        FakeSurfaces& m_owner;
    };

    [[nodiscard]] QList<ScreenInfo> screens() const override { return onScreens; }
    [[nodiscard]] std::optional<QPoint> pointer() const override { return at; }
    [[nodiscard]] bool areTranslucent() const override { return translucent; }
    [[nodiscard]] std::unique_ptr<Surface> make(SurfaceTraits traits) override {
        return std::make_unique<Picture>(*this, std::move(traits));
    }

    QList<ScreenInfo> onScreens{{{0, 0, 1280, 900}, {0, 0, 1280, 900}, {0, 0, 1280, 900}}};
    std::optional<QPoint> at;
    bool translucent = true;
    std::vector<Picture*> made; ///< those that live, in the order of their making
};

} // namespace murlo
