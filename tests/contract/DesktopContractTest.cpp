#include "platform/linux/qt/QtScheduler.h"
#include "platform/linux/x11/surfaces/X11Surface.h"
#include "platform/linux/x11/surfaces/X11Surfaces.h"
#include "platform/linux/x11/windows/X11Desktop.h"
#include "tests/harness/Files.h"
#include "tests/harness/Rows.h"

#include <QGuiApplication>
#include <QScopeGuard>
#include <QScreen>
#include <QTemporaryDir>
#include <QTest>

#include <algorithm>
#include <array>
#include <span>

using namespace murlo;

namespace {

/// Another program on the same desktop.
class OtherProgram {
public:
    OtherProgram()
        : m_window(makeWindow(false)) {}

    /// Takes a selection of a screen's services, or gives it up.
    void own(const QString& selection, bool owned) {
        xcb_set_selection_owner(m_connection, owned ? m_window : xcb_window_t(XCB_WINDOW_NONE),
                                m_connection.atom(selection), XCB_CURRENT_TIME);
        m_connection.sync();
    }
    /// Opens a window; one that `covers` goes above all others and past the window manager.
    void open(bool covers) {
        m_window = makeWindow(covers);
        xcb_map_window(m_connection, m_window);
        m_connection.sync();
    }
    /// Whether a window is above the one that was opened last.
    [[nodiscard]] bool isBelow(WId panel) {
        const auto tree = m_connection.reply(xcb_query_tree_reply,
                                             xcb_query_tree(m_connection, m_connection.root()));
        const std::span stack(xcb_query_tree_children(tree.get()),
                              static_cast<size_t>(xcb_query_tree_children_length(tree.get())));
        return std::ranges::find(stack, m_window) < std::ranges::find(stack, panel);
    }

private:
    [[nodiscard]] xcb_window_t makeWindow(bool unmanaged) {
        const xcb_window_t window = xcb_generate_id(m_connection);
        const std::array<uint32_t, 2> values{0xFFFFFF, unmanaged}; // white
        xcb_create_window(m_connection, XCB_COPY_FROM_PARENT, window, m_connection.root(), 0, 0,
                          1280, 900, 0, XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT,
                          XCB_CW_BACK_PIXEL | XCB_CW_OVERRIDE_REDIRECT, values.data());
        return window;
    }

    XcbConnection m_connection;
    xcb_window_t m_window;
};

SurfaceTraits traits(SurfaceLevel level, const QColor& colour) {
    return {.title = "murlo test",
            .accessibleName = {},
            .level = level,
            .place = AtFrame{{200, 200, 300, 200}},
            .paint = [colour](QPainter& painter) { painter.fillRect(0, 0, 300, 200, colour); }};
}

WId idOf(const Surface& surface) {
    return dynamic_cast<const X11Surface&>(surface).id();
}

QRgb onScreen(const QPoint& at) {
    return QGuiApplication::primaryScreen()
        ->grabWindow(0, at.x(), at.y(), 1, 1)
        .toImage()
        .pixel(0, 0);
}

} // namespace

/// What the fake answers is what a test sets; what follows is the window system's.
class DesktopContractTest : public QObject {
    Q_OBJECT

    QtScheduler m_scheduler;

private Q_SLOTS:
    void compositingIsToldAsItComesAndGoes() {
        OtherProgram compositor;
        const X11Surfaces surfaces(m_scheduler, std::make_shared<RootWatch>());
        QVERIFY(surfaces.areTranslucent()); // the virtual desktop's own
        compositor.own("_NET_WM_CM_S0", true);
        compositor.own("_NET_WM_CM_S0", false);
        QTRY_VERIFY(!surfaces.areTranslucent());
        QVERIFY(!X11Surfaces(m_scheduler, std::make_shared<RootWatch>()).areTranslucent());
        compositor.own("_NET_WM_CM_S0", true);
        QTRY_VERIFY(surfaces.areTranslucent());
    }

    void aSurfaceComesBackAboveWhatCoversIt() {
        X11Surfaces surfaces(m_scheduler, std::make_shared<RootWatch>());
        const auto hints = surfaces.make(traits(SurfaceLevel::hints, Qt::blue));
        const auto card = surfaces.make(traits(SurfaceLevel::card, Qt::red));
        hints->show();
        card->show();
        QTRY_COMPARE(onScreen({350, 300}), QColor(Qt::blue).rgb()); // though the card came later
        OtherProgram film;
        OtherProgram editor; // a change of its windows is what the window manager tells of
        film.open(true);
        QTRY_VERIFY(!film.isBelow(idOf(*card)));
        editor.open(false);
        QTRY_VERIFY(film.isBelow(idOf(*card)) && film.isBelow(idOf(*hints)));
        QTRY_COMPARE(onScreen({350, 300}), QColor(Qt::blue).rgb());
        hints->hide();
        QTRY_COMPARE(onScreen({350, 300}), QColor(Qt::red).rgb());
        card->setShape(QRegion(0, 0, 10, 10));
        QTRY_VERIFY(onScreen({350, 300}) != QColor(Qt::red).rgb());
        QCOMPARE(onScreen({205, 205}), QColor(Qt::red).rgb());
        film.open(true);
        editor.open(false);
        QTRY_VERIFY(film.isBelow(idOf(*card)));
        QVERIFY(!film.isBelow(idOf(*hints))); // hidden ones are left where they are
    }

    void filesAndAddressesGoToTheDesktopsOpener_data() {
        const Rows<QString, int, bool> row; // the opener's status, -1 without one; whether it opens
        row("file", "/etc/passwd", 0, true);
        row("address", "https://example.org/a?b=c&d=e", 0, true);
        row("missing file", "/no/such/file", 0, false);
        row("no program for it", "odd://example", 3, false);
        row("no opener", "/etc/passwd", -1, false);
    }
    void filesAndAddressesGoToTheDesktopsOpener() {
        const auto [target, status, opens] = fetch<QString, int, bool>();
        const QTemporaryDir folder;
        const QString opener = folder.filePath("xdg-open");
        if (status >= 0)
            putFile(opener,
                    "#!/bin/sh\nprintf %s \"$*\" >\"$0.asked\"\n"
                    "read -r stat </proc/$$/stat; echo \"$stat\" >\"$0.stat\"\nexit " +
                        QByteArray::number(status) + "\n",
                    QFile::ExeOwner);
        const auto restored = qScopeGuard([path = qgetenv("PATH")] { qputenv("PATH", path); });
        qputenv("PATH", QFile::encodeName(folder.path()));
        std::optional<bool> opened;
        X11Desktop(std::make_shared<RootWatch>()).open(target, [&](bool worked) {
            opened = worked;
        });
        QVERIFY(!opened);
        QTRY_VERIFY(opened);
        QCOMPARE(*opened, opens);
        if (!opens) return;
        QCOMPARE(contentOf(opener + ".asked"), target.toUtf8());
        // A session of its own: what is opened survives this program and its terminal.
        const QList<QByteArray> fields = contentOf(opener + ".stat").split(' ');
        QVERIFY(fields.size() > 5);
        QCOMPARE(fields[5], fields[0]);
    }
};

QTEST_MAIN(DesktopContractTest)
#include "DesktopContractTest.moc"
