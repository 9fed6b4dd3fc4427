#include "tests/harness/Files.h"
#include "tests/harness/desktop/BrowserSignIn.h"
#include "tests/harness/desktop/TestDesk.h"

#include <QTcpServer>

using namespace murlo;

namespace {

/// With words that whoever rewrites it takes out.
const QString rambling = "Press the search bar to start to start dictation.";
const QString rewritten = "Press the search bar to start dictation.";

} // namespace

/// An account of this computer's own backend, from the sign-in in a real browser to its end.
class AccountTest : public QObject {
    Q_OBJECT

    /// The backend that Murlo has started on this desktop ends.
    static bool endBackend() {
        QProcess search;
        search.start("pgrep", {"-x", "murlo-backend"});
        search.waitForFinished();
        const auto pid = static_cast<pid_t>(search.readLine().trimmed().toInt());
        return pid > 0 && ::kill(pid, SIGTERM) == 0 &&
               waitFor([pid] { return ::kill(pid, 0) != 0; });
    }
    static int forget(const QString& home, const QByteArray& answer) {
        QProcess murlo;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert("HOME", home);
        murlo.setProcessEnvironment(environment);
        murlo.start(MURLO_PROGRAM, {"--forget"});
        murlo.write(answer);
        murlo.closeWriteChannel();
        return murlo.waitForFinished() ? murlo.exitCode() : -1;
    }

private Q_SLOTS:
    void aStrangerSignsInAndIsUnderstoodBetter() {
        TestDesk desk;
        BrowserSignIn browser(desk);
        browser.prepare();
        QVERIFY(desk.startMurloSignedOut({{"enhancePrompt", true}}));
        QVERIFY(browser.signIn());
        browser.closeBrowser();
        QVERIFY(desk.murlo.awaitReady()); // its triggers, without a restart
        desk.target = std::make_unique<TargetApp>(TargetApp::Kind::gtkEntry);
        QVERIFY(desk.target->start());
        QVERIFY(desk.dictate(rambling) && desk.delivered() && desk.holds(rewritten));
        QCOMPARE(desk.murlo.history().value(0), rewritten);
        QVERIFY(!QFile::exists(desk.murlo.file("secrets.json"))); // the keyring has the key

        // The next start knows the account; the local backend may have ended in the meantime.
        QCOMPARE(desk.murlo.quit(), 0);
        QVERIFY(endBackend());
        QVERIFY(desk.murlo.start() && desk.murlo.awaitReady());
        QVERIFY(desk.target->activate());
        QVERIFY(desk.dictate(rambling) && desk.delivered());
        QVERIFY(desk.holds(rewritten + rewritten));

        // A model that takes its time: after three seconds the words go in as they were spoken.
        QTcpServer model;
        QVERIFY(model.listen(QHostAddress::LocalHost));
        QVERIFY(endBackend());
        putFile(desk.home.filePath(".config/murlo/murlo-backend.conf"),
                "polish-url = http://127.0.0.1:" + QByteArray::number(model.serverPort()) +
                    "\npolish-model = slow\n");
        QVERIFY(desk.dictate(rambling) && desk.delivered());
        QVERIFY(model.hasPendingConnections() || model.waitForNewConnection(0));
        QVERIFY(desk.holds(rewritten + rewritten + rambling));

        QCOMPARE(desk.murlo.quit(), 0);
        QCOMPARE(forget(desk.home.path(), "no\n"), 1);
        QVERIFY(QFile::exists(desk.murlo.file("settings.json")));
        QCOMPARE(forget(desk.home.path(), "yes\n"), 0);
        QVERIFY(!endBackend()); // it runs no more
        QVERIFY(!QDir(desk.murlo.file({})).exists());
        QVERIFY(!QDir(desk.home.filePath(".local/share/murlo-backend")).exists());
    }
};

QTEST_MAIN(AccountTest)
#include "AccountTest.moc"
