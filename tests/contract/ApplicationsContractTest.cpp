#include "platform/linux/freedesktop/DesktopEntries.h"
#include "platform/linux/processes/ProcessFacts.h"
#include "platform/linux/qt/QtScheduler.h"
#include "platform/linux/x11/windows/X11Applications.h"
#include "tests/harness/Files.h"
#include "tests/harness/Rows.h"

#include <QCursor>
#include <QMouseEvent>
#include <QProcess>
#include <QRasterWindow>
#include <QTemporaryDir>
#include <QTest>

using namespace murlo;

namespace {

/// A window of this process that writes down where it is clicked.
class ClickedWindow : public QRasterWindow {
public:
    explicit ClickedWindow(const QString& title) {
        setTitle(title);
        setGeometry(100, 100, 300, 200);
        show();
        std::ignore = QTest::qWaitForWindowExposed(this);
    }
    QList<QPoint> clicks;

protected:
    void mousePressEvent(QMouseEvent* event) override {
        clicks.append(event->position().toPoint());
    }
};

} // namespace

/// What the fake answers is what a test sets; what follows is the window system's.
class ApplicationsContractTest : public QObject {
    Q_OBJECT

    QtScheduler m_scheduler;
    X11Applications m_applications{m_scheduler};

    /// Where the window in front is, once it has this title.
    QRectF contentOfFront(const QString& title) {
        WindowInfo front;
        std::ignore = QTest::qWaitFor([&] {
            front = m_applications.windowsOnScreen().value(0);
            return front.title == title;
        });
        return front.content;
    }

private Q_SLOTS:
    void programsAreKnownByTheirWindowsAndComeToTheFront() {
        QProcess terminals[2]; // Debian's xterm comes with a desktop entry
        QList<qint64> pids;
        for (QProcess& terminal : terminals) {
            terminal.start("xterm", {"-e", "cat"});
            QTRY_COMPARE_WITH_TIMEOUT(m_applications.frontmostPid(), terminal.processId(), 15000);
            pids.append(terminal.processId());
        }
        QCOMPARE(m_applications.focusedProgram(), (QStringList{"xterm", "xterm"}));
        QVERIFY(m_applications.identifier(pids[0])->contains(QLatin1String("xterm")));
        QVERIFY(m_applications.name(pids[0]).has_value());
        QVERIFY(!m_applications.identifier(999999999) && !m_applications.name(999999999));
        m_applications.activate(pids[0], {});
        QTRY_COMPARE(m_applications.frontmostPid(), pids[0]);
        m_applications.activate(1, {}); // has no window
        QTest::qWait(50);
        QCOMPARE(m_applications.frontmostPid(), pids[0]);
        const auto shown = [this] {
            QList<qint64> documents;
            for (const WindowInfo& window : m_applications.windowsOnScreen()) {
                if (window.isDocument && window.bounds.contains(window.content))
                    documents.append(window.pid);
            }
            return documents;
        };
        QTRY_COMPARE(shown(), pids);
        for (QProcess& terminal : terminals) {
            terminal.kill();
            terminal.waitForFinished();
        }
    }

    void aClickGoesToTheEndOfTheTextAndThePointerComesBack_data() {
        const Rows<QRect, QPoint> row; // a box and its end
        row("one line", {20, 30, 200, 24}, {217, 42});
        row("several lines", {20, 30, 200, 100}, {170, 105});
    }
    void aClickGoesToTheEndOfTheTextAndThePointerComesBack() {
        const auto [box, end] = fetch<QRect, QPoint>();
        const qint64 own = QCoreApplication::applicationPid();
        QCursor::setPos(5, 6);
        ClickedWindow below("below");
        const QRectF place = contentOfFront("below");
        const QRectF there = QRectF(box).translated(place.topLeft());
        QVERIFY(m_applications.click(own, "below", there));
        QTRY_COMPARE(below.clicks, QList{end});
        QTRY_COMPARE(QCursor::pos(), QPoint(5, 6));
        const ClickedWindow front("in front");
        QCOMPARE(contentOfFront("in front"), place);
        QVERIFY(!m_applications.click(own, "below", there)); // it is covered
        QVERIFY(!m_applications.click(1, "in front", there));
        QVERIFY(!m_applications.click(own, "in front", QRectF(-50, -50, 40, 40)));
        QVERIFY(m_applications.click(own, "no such title", there));
        QTRY_COMPARE(front.clicks, QList{end});
        QCOMPARE(below.clicks.size(), 1);
        m_applications.activate(own, "below");
        QCOMPARE(contentOfFront("below"), place);
        QVERIFY(m_applications.click(own, "below", there));
        QTRY_COMPARE(below.clicks.size(), 2);
        below.showMinimized();
        QTRY_COMPARE(windowOf(m_applications.windowsOnScreen(), own, "below")->title, "in front");
    }

    void aControlGroupNamesItsApplication() {
        using Row = std::pair<const char*, const char*>;
        for (const auto& [unit, id] :
             {Row("app-gnome-org.gnome.TextEditor-1234.scope",
                  "org.gnome.TextEditor"), // by a shell
              Row("app-org.kde.konsole@autostart.service", "org.kde.konsole"),
              Row(R"(app-gnome-google\x2dchrome-77.scope)", "google-chrome"),
              Row("app-flatpak-org.mozilla.firefox-42.scope", "org.mozilla.firefox"),
              Row("snap.firefox.firefox.7e3a-11.scope", "firefox_firefox"),
              Row("session-2.scope", "")}) {
            const QString path = QString("0::/user.slice/user-1000.slice/app.slice/") + unit;
            QCOMPARE(ProcessFacts::applicationOfGroup(path).value_or(QString()), id);
        }
    }

    void desktopEntriesAreFoundByIdClassAndProgram() {
        const QTemporaryDir folder;
        const auto write = [&](const QString& name, const QByteArray& lines) {
            putFile(folder.filePath(name), "[Desktop Entry]\n" + lines +
                                               "\n[Desktop Action New]\nName=Other\nExec=other\n");
        };
        write("org.example.Editor.desktop",
              "Name=Editor\nExec=env LANG=C \"/opt/my editor/edit\" %U");
        write("kde/viewer.desktop", "Name = Viewer\nStartupWMClass=Odd Class\nExec=viewer");
        write("url-handler.desktop", "Name=Handler\nNoDisplay=true\nExec=edit --url %u");
        QtScheduler scheduler;
        DesktopEntries entries(scheduler, {folder.path()});
        QCOMPARE(entries.withId("kde-viewer")->name, "Viewer");
        QCOMPARE(entries.withWindowClass("odd class")->id, "kde-viewer");
        QCOMPARE(entries.withWindowClass("editor")->id, "org.example.Editor");
        QCOMPARE(entries.withProgram("edit")->id, "org.example.Editor");
        QVERIFY(!entries.withProgram("other"));
        QVERIFY(!entries.withId("new"));
        QTest::qWait(20); // the folder's time has to move
        write("new.desktop", "Name=New\nExec=new");
        QTRY_VERIFY(entries.withId("new")); // read again without keeping anybody waiting
    }
};

QTEST_MAIN(ApplicationsContractTest)
#include "ApplicationsContractTest.moc"
