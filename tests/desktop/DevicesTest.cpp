#include "tests/harness/Files.h"
#include "tests/harness/Rows.h"
#include "tests/harness/desktop/TestDesk.h"

#include <QJsonArray>
#include <QJsonDocument>

#include <csignal>

using namespace murlo;

namespace {

const QString sentence = "Where is the image?";

/// Lines of a measurement with a GPU of this name that is faster than any processor.
QByteArray measured(const QByteArray& gpu) {
    const auto device = [](int number, const QByteArray& name, const QByteArray& gflops) {
        const QByteArray which = "\"device\":" + QByteArray::number(number);
        return "{\"event\":\"device\"," + which + ",\"description\":\"" + name +
               "\"}\n{\"event\":\"speed\"," + which + ",\"gflops\":{\"q5_0\":{\"384\":" + gflops +
               "}},\"layer_ns\":1000}\n";
    };
    return device(-1, "A processor", "60") + device(0, gpu, "6000");
}

bool isFullEngine() {
    return QFileInfo(qEnvironmentVariable("MURLO_ENGINE")).dir().exists("libggml-vulkan.so");
}

/// Name of the GPU that the processor imitates, which the engine is made to use from now on; empty
/// if it cannot.
QByteArray softwareGpu() {
    qputenv("GGML_VK_VISIBLE_DEVICES", "0");
    QProcess list;
    list.start(QFileInfo(qEnvironmentVariable("MURLO_ENGINE")).dir().filePath("murlo-measure"),
               {"--list"});
    list.waitForFinished();
    const auto lines = list.readAllStandardOutput().split('\n');
    const auto gpu = QJsonDocument::fromJson(lines.value(1)).object();
    return gpu.value("kind") == "software" ? gpu.value("description").toString().toUtf8() : "";
}

/// A folder as Murlo is installed in, with the speech engine of these tests.
struct Installation {
    /// With a program that "measures" these lines; the engine's own if there are none.
    explicit Installation(const QByteArray& lines = {}) {
        putFile(folder.filePath("bin/murlo"), contentOf(MURLO_PROGRAM), QFile::ExeOwner);
        const QDir engine(QFileInfo(qEnvironmentVariable("MURLO_ENGINE")).path());
        const QString own = folder.filePath("lib/murlo/bin/");
        QDir().mkpath(own);
        QFile::link(engine.filePath("whisper-server"), own + "whisper-server");
        if (lines.isEmpty())
            QFile::link(engine.filePath("murlo-measure"), own + "murlo-measure");
        else
            putFile(own + "murlo-measure", "#!/bin/sh\ncat <<'END'\n" + lines + "END\n",
                    QFile::ExeOwner);
    }
    [[nodiscard]] QString program() const { return folder.filePath("bin/murlo"); }

    QTemporaryDir folder;
};

} // namespace

/// The real program and the device that its engine runs on.
class DevicesTest : public QObject {
    Q_OBJECT

    std::unique_ptr<Installation> m_installed;
    std::unique_ptr<TestDesk> m_desk;

    void install(const QByteArray& lines = {}) {
        m_installed = std::make_unique<Installation>(lines);
        m_desk = std::make_unique<TestDesk>(m_installed->program());
    }
    /// What Murlo keeps of its devices.
    [[nodiscard]] QJsonObject kept() const {
        return QJsonDocument::fromJson(contentOf(m_desk->murlo.file("engine.json"))).object();
    }
    /// Starts Murlo, which knows these devices, and waits until its engine has been started.
    [[nodiscard]] bool startKnowing(const QByteArray& lines) {
        install(lines);
        putFile(m_desk->murlo.file("engine.json"),
                QJsonDocument(QJsonObject{{"measured", QString(lines)}}).toJson());
        return m_desk->murlo.seed(MURLO_MODEL) && m_desk->murlo.start() &&
               m_desk->murlo.awaitLog("hotkey: dictate=") && m_desk->murlo.awaitLog("runs on ");
    }
    [[nodiscard]] bool signalEngine(int number) const {
        const auto engine = static_cast<pid_t>(m_desk->murlo.enginePid());
        return engine > 0 && ::kill(engine, number) == 0;
    }

private Q_SLOTS:
    void cleanup() {
        m_desk.reset();
        m_installed.reset();
    }

    void theFirstStartMeasuresAndKeepsIt_data() {
        const Rows<bool> row; // whether there is such a driver
        row("as the machine is", false);
        row("with a driver that crashes", true);
    }
    void theFirstStartMeasuresAndKeepsIt() {
        const bool crashes = std::get<0>(fetch<bool>());
        install();
        const QString crashed = m_desk->home.filePath("crashed");
        if (crashes) {
            const QString driver = m_desk->home.filePath("driver.json");
            putFile(driver, R"({"file_format_version": "1.0.0", "ICD": {"api_version": "1.3.0", )"
                            R"("library_path": ")" MURLO_CRASHING_DRIVER R"("}})");
            m_desk->murlo.setEnvironment("VK_DRIVER_FILES", driver);
            m_desk->murlo.setEnvironment("MURLO_DRIVER_CRASHED", crashed);
        }
        QVERIFY(m_desk->startMurlo());
        QVERIFY(m_desk->murlo.awaitLog(" was measured", 120'000));
        QTRY_VERIFY(kept().value("measured").toString().contains("\"q5_0\""));
        QCOMPARE(QFile::exists(crashed), crashes && isFullEngine());
    }

    // The engine finds no such GPU and takes the processor, of which Murlo knows nothing.
    void aGpuThatFailsCostsNoSentence_data() {
        const Rows<int, QString> row; // the signal; what the log says
        row("crashes", SIGSEGV, "ended (code 11); it is set aside");
        row("hangs", 0, "did not answer; it is set aside");
    }
    void aGpuThatFailsCostsNoSentence() {
        const auto [number, line] = fetch<int, QString>();
        QVERIFY(startKnowing(measured("A GPU")));
        MurloProcess& murlo = m_desk->murlo;
        QVERIFY(murlo.awaitLog("A GPU was measured") && murlo.awaitEngine());
        m_desk->target = std::make_unique<TargetApp>(TargetApp::Kind::gtkEntry);
        QVERIFY(m_desk->target->start() && m_desk->begin() && m_desk->speak(sentence));
        QVERIFY(signalEngine(SIGSTOP)); // so that it is at work on the clip when it ends
        m_desk->end();
        letPass(500);
        QVERIFY(number == 0 || (signalEngine(number) && signalEngine(SIGCONT)));
        QVERIFY(m_desk->delivered() && m_desk->holds(sentence));
        QVERIFY(murlo.awaitLog("A GPU " + line, 0));
        QTRY_COMPARE(kept().value("setAside").toArray(), QJsonArray{"A GPU"});
        QVERIFY(m_desk->lands(sentence, sentence.repeated(2)));
    }

    // llvmpipe takes a minute to compile what the engine needs, like a GPU at its first use.
    void aGpuThatIsBeingPreparedKeepsNobodyWaiting() {
        const QByteArray gpu = softwareGpu();
        if (gpu.isEmpty()) QSKIP("needs the full engine and mesa-vulkan-drivers");
        QVERIFY(startKnowing(measured(gpu)));
        MurloProcess& murlo = m_desk->murlo;
        m_desk->target = std::make_unique<TargetApp>(TargetApp::Kind::gtkEntry);
        QVERIFY(m_desk->target->start());
        QVERIFY(contentOf(QString("/proc/%1/maps").arg(murlo.enginePid())).contains("libvulkan"));
        QVERIFY(m_desk->lands(sentence));
        QVERIFY(murlo.awaitLog("a clip waits, so the processor takes the place", 0));
        QVERIFY(!kept().contains("setAside"));
        QVERIFY(murlo.awaitLog(" was measured"));

        murlo.quit();
        QVERIFY(murlo.start() && murlo.awaitLog("runs on " + gpu));
        QVERIFY(signalEngine(SIGSEGV) && murlo.awaitReady());
        QTRY_COMPARE(kept().value("setAside").toArray(), QJsonArray{QString(gpu)});
        QVERIFY(m_desk->lands(sentence, sentence.repeated(2)));
    }
};

QTEST_MAIN(DevicesTest)
#include "DevicesTest.moc"
