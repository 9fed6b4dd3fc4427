#include "platform/linux/x11/windows/X11Desktop.h"

#include <QTest>
#include <QWidget>
#include <QWindow>

#include <algorithm>
#include <span>

using namespace murlo;

namespace {

/// Another program on the same desktop.
class OtherProgram {
public:
    OtherProgram()
        : m_atoms(m_connection)
        , m_window(makeWindow(false)) {}

    /// Takes a selection of a screen's services, or gives it up.
    void own(const QString& selection, bool owned) {
        xcb_set_selection_owner(m_connection, owned ? m_window : xcb_window_t(XCB_WINDOW_NONE),
                                m_atoms.atom(selection), XCB_CURRENT_TIME);
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
        const uint32_t overrideRedirect = unmanaged;
        xcb_create_window(m_connection, XCB_COPY_FROM_PARENT, window, m_connection.root(), 0, 0,
                          1280, 900, 0, XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT,
                          XCB_CW_OVERRIDE_REDIRECT, &overrideRedirect);
        return window;
    }

    XcbConnection m_connection;
    XcbAtoms m_atoms;
    xcb_window_t m_window;
};

/// The id on the server; the widget's own is that of a window it had before.
WId idOf(const QWidget& widget) {
    return widget.windowHandle()->winId();
}

} // namespace

/// What the fake answers is what a test sets; what follows is the window system's.
class DesktopContractTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void compositingIsToldAsItComesAndGoes() {
        OtherProgram compositor;
        X11Desktop desktop;
        QVERIFY(desktop.isComposited()); // the virtual desktop's own
        int changes = 0;
        connect(&desktop, &Desktop::changed, this, [&] { ++changes; });
        compositor.own("_NET_WM_CM_S0", true);
        compositor.own("_NET_WM_CM_S0", false);
        QTRY_COMPARE(changes, 1);
        QVERIFY(!desktop.isComposited() && !X11Desktop().isComposited());
        compositor.own("_NET_WM_CM_S0", true);
        QTRY_COMPARE(changes, 2);
        QVERIFY(desktop.isComposited());
    }

    void aKeptWindowComesBackAboveWhatCoversIt() {
        X11Desktop desktop;
        QWidget card(nullptr, Qt::ToolTip | Qt::X11BypassWindowManagerHint);
        QWidget hints(nullptr, Qt::ToolTip | Qt::X11BypassWindowManagerHint);
        hints.show();
        QVERIFY(QTest::qWaitForWindowExposed(&hints));
        desktop.keepAbove(idOf(hints), PanelLevel::hints);
        card.show();
        QVERIFY(QTest::qWaitForWindowExposed(&card));
        desktop.keepAbove(idOf(card), PanelLevel::card);
        OtherProgram film;
        OtherProgram editor; // a change of its windows is what the window manager tells of
        film.open(true);
        QVERIFY(!film.isBelow(idOf(card)));
        editor.open(false);
        QTRY_VERIFY(film.isBelow(idOf(card)) && film.isBelow(idOf(hints)));
        desktop.letGo(idOf(card));
        film.open(true);
        editor.open(false);
        QTRY_VERIFY(film.isBelow(idOf(hints)));
        QVERIFY(!film.isBelow(idOf(card)));
    }

    void whatCannotBeOpenedIsSaid() {
        const QByteArray path = qgetenv("PATH");
        for (const char* file : {"/no/such/file", "/etc/passwd"}) {
            std::optional<bool> opened;
            if (qstrcmp(file, "/etc/passwd") == 0) qputenv("PATH", "/nowhere"); // no opener
            X11Desktop().open(QLatin1String(file), [&](bool worked) { opened = worked; });
            QVERIFY(!opened);
            QTRY_VERIFY(opened);
            QVERIFY(!*opened);
        }
        qputenv("PATH", path);
    }
};

QTEST_MAIN(DesktopContractTest)
#include "DesktopContractTest.moc"
