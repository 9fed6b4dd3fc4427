#include "platform/linux/freedesktop/MimeApps.h"
#include "platform/linux/freedesktop/XdgUrlScheme.h"
#include "tests/contract/Worlds.h"
#include "tests/fakes/FakeUrlScheme.h"
#include "tests/fakes/VirtualScheduler.h"
#include "tests/harness/Files.h"
#include "tests/harness/Rows.h"

#include <QProcess>
#include <QScopeGuard>
#include <QTemporaryDir>
#include <QTest>

namespace murlo {

namespace {

constexpr int patience = 20'000; ///< milliseconds

/// A scheme's handlers, and the desktop's folders of user data and configuration.
struct World {
    explicit World(bool real) {
        if (real)
            port = std::make_unique<XdgUrlScheme>(folder.filePath("data"),
                                                  folder.filePath("config"), "/opt/a \"b\"/murlo");
        else
            port = std::make_unique<FakeUrlScheme>(scheduler);
    }
    bool claim(const QString& scheme) {
        return wait([&](auto done) { port->claim(scheme, done); });
    }
    bool release() {
        return wait([&](auto done) { port->release(done); });
    }
    [[nodiscard]] QByteArray get(const QString& name) const {
        return contentOf(folder.filePath(name));
    }
    void put(const QString& name, const QByteArray& text) const {
        putFile(folder.filePath(name), text);
    }

    QTemporaryDir folder;
    VirtualScheduler scheduler;
    std::unique_ptr<UrlScheme> port;

private:
    bool wait(const std::function<void(std::function<void(bool)>)>& ask) {
        std::optional<bool> answer;
        ask([&](bool worked) { answer = worked; });
        if (answer) return false; // not on a later turn
        (void)QTest::qWaitFor(
            [&] {
                scheduler.runPending();
                return answer.has_value();
            },
            patience);
        return answer.value_or(false);
    }
};

const QString entry = "data/applications/murlo-url-local.murlo.apps.desktop.desktop";
const QByteArray choice = "x-scheme-handler/local.murlo.apps.desktop="
                          "murlo-url-local.murlo.apps.desktop.desktop\n";

} // namespace

class UrlSchemeContractTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void aSchemeIsClaimedAndReleasedAnyNumberOfTimes_data() { addWorlds(); }
    void aSchemeIsClaimedAndReleasedAnyNumberOfTimes() {
        QFETCH(bool, real);
        World world(real);
        for (int round = 0; round < 2; ++round) {
            QVERIFY(world.release());
            QVERIFY(world.claim("local.murlo.apps.desktop"));
            QVERIFY(world.claim("local.murlo.apps.desktop"));
        }
        QVERIFY(world.release());
        QVERIFY(world.release());
    }

    void theDesktopKnowsTheHandlerAndTheRestIsKept() {
        for (const bool tools : {true, false}) { // of the desktop
            const auto restored = qScopeGuard([path = qgetenv("PATH")] { qputenv("PATH", path); });
            if (!tools) qputenv("PATH", "/nowhere");
            World world(true);
            const QByteArray others = "# mine\n[Added Associations]\ntext/plain=b.desktop;\n\n"
                                      "[Default Applications]\ntext/html=a.desktop;b.desktop\n";
            const QByteArray old = "x-scheme-handler/old=murlo-url-old.desktop;c.desktop\n";
            world.put("config/mimeapps.list", others + old);
            const QString foreign = "data/applications/murlo-url-b.desktop";
            world.put(foreign, "[Desktop Entry]\nExec=/opt/notmurlo %u\n"
                               "MimeType=x-scheme-handler/b;\n");
            QVERIFY(world.claim("earlier.identifier"));
            QVERIFY(world.claim("Local.Murlo.apps.Desktop"));
            const QByteArray text = world.get(entry);
            for (const char* line : {"NoDisplay=true", R"(Exec="/opt/a \\"b\\"/murlo" %u)",
                                     "MimeType=x-scheme-handler/local.murlo.apps.desktop;"})
                QVERIFY2(text.contains(QByteArray("\n") + line + '\n'), text);
            const QByteArray list = world.get("config/mimeapps.list");
            QCOMPARE(list.count(choice), 1);
            for (const QByteArray& line : others.split('\n')) QVERIFY2(list.contains(line), list);
            if (tools) {
                QCOMPARE(QProcess::execute("desktop-file-validate", {world.folder.filePath(entry)}),
                         0);
                QVERIFY(
                    world.get("data/applications/mimeinfo.cache").contains("murlo.apps.desktop="));
            }
            QVERIFY(world.release());
            QCOMPARE(QDir(world.folder.filePath("data/applications"))
                         .entryList({"*.desktop"}, QDir::Files),
                     QStringList("murlo-url-b.desktop"));
            const QByteArray left = world.get("config/mimeapps.list");
            QVERIFY2(!left.contains("murlo") && left.contains("/old=c.desktop"), left);
            QVERIFY(!world.get("data/applications/mimeinfo.cache").contains("murlo.apps"));
        }
    }

    void whatIsNoSchemeOrCannotBeWrittenIsRefused() {
        World world(true);
        for (const char* scheme : {"", "1a", "a/../b", "a b", "a;b", "a\n", "ü"})
            QVERIFY2(!world.claim(scheme), scheme);
        QVERIFY(QDir(world.folder.path()).isEmpty());
        world.put("data", "a file where the folder should be");
        QVERIFY(!world.claim("a"));
    }

    void aListOfChoicesIsEditedLineByLine_data() {
        const Rows<QByteArray, QByteArray, QByteArray> add; // before, with it and without it
        add("nothing", "", "[Default Applications]\nt=m\n", "");
        add("no line end", "[A]\nx=y", "[A]\nx=y\n[Default Applications]\nt=m\n", "[A]\nx=y");
        add("another's", "[Default Applications]\nt=o;p;\nu=m\n",
            "[Default Applications]\nt=m\nu=m\n", "[Default Applications]\nt=o;p;\nu=m\n");
        add("among others", "[Added Associations]\nt=m;o;\n[Default Applications]\n t = m ; \n",
            "[Added Associations]\nt=m;o;\n[Default Applications]\nt=m\n",
            "[Added Associations]\nt=o\n[Default Applications]\n");
        add("twice", "[Default Applications]\nt=a\n[X]\n[Default Applications]\nt=m\n",
            "[Default Applications]\nt=m\n[X]\n[Default Applications]\n",
            "[Default Applications]\nt=a\n[X]\n[Default Applications]\n");
    }
    void aListOfChoicesIsEditedLineByLine() {
        const auto [before, with, without] = fetch<QByteArray, QByteArray, QByteArray>();
        QCOMPARE(MimeApps::withDefault(before, "t", "m"), with);
        QCOMPARE(MimeApps::without(before, "t", "m"), without);
        QVERIFY(MimeApps::isDefault(with, "t", "m") && !MimeApps::isDefault(without, "t", "m"));
    }
};

} // namespace murlo

QTEST_GUILESS_MAIN(murlo::UrlSchemeContractTest)
#include "UrlSchemeContractTest.moc"
