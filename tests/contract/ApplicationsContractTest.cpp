#include "platform/linux/freedesktop/DesktopEntries.h"
#include "platform/linux/processes/ProcessFacts.h"
#include "platform/linux/qt/QtScheduler.h"
#include "platform/linux/x11/windows/X11Applications.h"
#include "tests/contract/Worlds.h"
#include "tests/fakes/FakeApplications.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

using namespace murlo;

namespace {

/// Two running programs with windows, and the port that tells of them.
class Bench : public ContractWorld {
public:
    [[nodiscard]] virtual Applications& applications() = 0;
    /// The process of the first or second program.
    [[nodiscard]] virtual qint64 pid(int number) = 0;
};

class FakeBench : public Bench {
public:
    FakeBench() {
        m_applications.running = {{10, {"editor", "Editor"}}, {11, {"editor", "Editor"}}};
        m_applications.frontmost = 11;
        for (const qint64 pid : {11, 10})
            m_applications.windows.append({pid, {}, {0, 0, 300, 200}, {4, 20, 292, 176}, true});
    }
    [[nodiscard]] Applications& applications() override { return m_applications; }
    [[nodiscard]] qint64 pid(int number) override { return 10 + number; }

private:
    FakeApplications m_applications;
};

/// Terminals by Debian's xterm, which comes with a desktop entry.
class RealBench : public Bench {
public:
    RealBench() {
        for (QProcess& terminal : m_terminals) {
            terminal.start("xterm", {"-e", "cat"});
            if (!QTest::qWaitFor(
                    [&] { return m_applications.frontmostPid() == terminal.processId(); }, 15000))
                qWarning("the terminal's window did not come");
        }
    }
    ~RealBench() override {
        for (QProcess& terminal : m_terminals) {
            terminal.kill();
            terminal.waitForFinished();
        }
    }
    [[nodiscard]] Applications& applications() override { return m_applications; }
    [[nodiscard]] qint64 pid(int number) override { return m_terminals[number].processId(); }

private:
    QtScheduler m_scheduler;
    X11Applications m_applications{m_scheduler};
    QProcess m_terminals[2];
};

} // namespace

class ApplicationsContractTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void anActivatedApplicationIsInFront_data() { addWorlds(); }
    void anActivatedApplicationIsInFront() {
        const auto both = makeWorldOfRow<Bench, FakeBench, RealBench>();
        Applications& applications = both->applications();
        QCOMPARE(applications.frontmostPid(), both->pid(1));
        applications.activate(both->pid(0), {});
        QTRY_COMPARE(applications.frontmostPid(), both->pid(0));
        applications.activate(1, {}); // has no window
        QTest::qWait(50);
        QCOMPARE(applications.frontmostPid(), both->pid(0));
        const auto shown = [&applications] {
            QList<qint64> pids;
            for (const WindowInfo& window : applications.windowsOnScreen()) {
                if (window.isDocument && window.bounds.contains(window.content))
                    pids.append(window.pid);
            }
            return pids;
        };
        QTRY_COMPARE(shown(), (QList{both->pid(0), both->pid(1)}));
        QVERIFY(applications.identifier(both->pid(0)).has_value());
        QVERIFY(applications.name(both->pid(0)).has_value());
        QVERIFY(!applications.identifier(999999999).has_value());
        QVERIFY(!applications.name(999999999).has_value());
    }

    void aTerminalIsKnownByItsWindow() {
        RealBench real;
        const auto& applications = real.applications();
        QCOMPARE(applications.focusedProgram(), (QStringList{"xterm", "xterm"}));
        QVERIFY(applications.identifier(real.pid(0))->contains(QLatin1String("xterm")));
    }

    void aControlGroupNamesItsApplication_data() {
        QTest::addColumn<QString>("path");
        QTest::addColumn<QString>("id");
        const QString folder = "0::/user.slice/user-1000.slice/app.slice/";
        const auto row = [&](const char* name, const char* unit, const char* id) {
            QTest::newRow(name) << folder + QLatin1String(unit) << QString::fromLatin1(id);
        };
        row("launched by a shell", "app-gnome-org.gnome.TextEditor-1234.scope",
            "org.gnome.TextEditor");
        row("service", "app-org.kde.konsole@autostart.service", "org.kde.konsole");
        row("escaped hyphen", R"(app-gnome-google\x2dchrome-77.scope)", "google-chrome");
        row("Flatpak", "app-flatpak-org.mozilla.firefox-42.scope", "org.mozilla.firefox");
        row("Snap", "snap.firefox.firefox.7e3a-11.scope", "firefox_firefox");
        row("no application", "session-2.scope", "");
    }
    void aControlGroupNamesItsApplication() {
        QFETCH(QString, path);
        QFETCH(QString, id);
        QCOMPARE(ProcessFacts::applicationOfGroup(path).value_or(QString()), id);
    }

    void desktopEntriesAreFoundByIdClassAndProgram() {
        const QTemporaryDir folder;
        const auto write = [&](const QString& name, const QByteArray& lines) {
            QDir(folder.path()).mkpath(QFileInfo(name).path());
            QFile file(folder.filePath(name));
            QVERIFY(file.open(QIODevice::WriteOnly));
            file.write("[Desktop Entry]\n" + lines +
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

QTEST_GUILESS_MAIN(ApplicationsContractTest)
#include "ApplicationsContractTest.moc"
