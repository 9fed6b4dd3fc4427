#pragma once

#include "platform/linux/x11/XcbConnection.h"

#include <QByteArray>
#include <QRect>

#include <cstdlib>

namespace murlo {

/// A patch of the screen, as a person sees it: what comes there fades in, and can be read once it
/// is half as strong as it will be.
class ScreenPatch {
public:
    explicit ScreenPatch(const QRect& place)
        : m_place(place) {}

    [[nodiscard]] QByteArray now() const {
        const auto image =
            m_x.reply(xcb_get_image_reply,
                      xcb_get_image(m_x, XCB_IMAGE_FORMAT_Z_PIXMAP, m_x.root(), qint16(m_place.x()),
                                    qint16(m_place.y()), quint16(m_place.width()),
                                    quint16(m_place.height()), ~0U));
        if (!image) return {};
        return {reinterpret_cast<const char*>(xcb_get_image_data(image.get())),
                xcb_get_image_data_length(image.get())};
    }
    /// Remembers what is there without, and with what comes.
    void rememberEmpty() { m_empty = now(); }
    void rememberFull() { m_full = now(); }
    [[nodiscard]] bool canBeRead() const {
        return 2 * apart(now(), m_empty) >= apart(m_full, m_empty);
    }
    [[nodiscard]] bool isKnown() const { return apart(m_full, m_empty) > 0; }

private:
    [[nodiscard]] static qint64 apart(const QByteArray& a, const QByteArray& b) {
        qint64 sum = 0;
        for (qsizetype i = 0; i < std::min(a.size(), b.size()); ++i)
            sum += std::abs(int(uchar(a[i])) - int(uchar(b[i])));
        return sum;
    }

    XcbConnection m_x;
    QRect m_place;
    QByteArray m_empty;
    QByteArray m_full;
};

} // namespace murlo
