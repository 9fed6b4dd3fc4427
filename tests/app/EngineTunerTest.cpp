#include "tests/harness/DictationRig.h"
#include "tests/harness/Rows.h"

using namespace murlo;

namespace {

const QByteArray processorLine =
    "{\"event\":\"device\",\"device\":-1,\"description\":\"A CPU\",\"kind\":\"cpu\"}\n";

QByteArray gpuLine(int number, const QByteArray& kind = "discrete") {
    return "{\"event\":\"device\",\"device\":" + QByteArray::number(number) +
           ",\"description\":\"A GPU\",\"kind\":\"" + kind + "\",\"memory_total\":8000000000}\n";
}

QByteArray speedLine(int number, double gflops, double share = 1) {
    return "{\"event\":\"speed\",\"device\":" + QByteArray::number(number) +
           ",\"gflops\":{\"q5_0\":{\"512\":" + QByteArray::number(gflops) +
           "}},\"layer_ns\":1000,\"share\":" + QByteArray::number(share) + "}\n";
}

/// The beginning of a file of the public model that is preferred.
QByteArray modelFile() {
    QByteArray bytes;
    for (const qint32 number : {0x67676d6c, 51866, 1500, 1280, 20, 32, 448, 1280, 20, 4, 128, 2008})
        bytes.append(reinterpret_cast<const char*>(&number), sizeof number);
    return bytes;
}

} // namespace

/// What the engine runs on, and how that is found out.
class EngineTunerTest : public QObject {
    Q_OBJECT

    std::unique_ptr<DictationRig> m_rig;

    /// The program that measures.
    [[nodiscard]] FakeProcessLauncher::Child* measuring() const {
        for (const auto& child : m_rig->processes.children)
            if (child->running && child->program.endsWith("murlo-measure")) return child.get();
        return nullptr;
    }
    /// It ends, having told this.
    void tell(const QByteArray& output) {
        auto* child = measuring();
        QVERIFY(child);
        child->handlers.output(output);
        child->running = false;
        std::exchange(child->handlers, {}).exited(0);
        m_rig->scheduler.runPending();
    }
    void dictate(double seconds) {
        m_rig->controller.begin(true);
        m_rig->speak(0.4);
        m_rig->controller.finish();
        m_rig->scheduler.advance(seconds);
        m_rig->engineAnswers("words");
        m_rig->scheduler.advance(1.5);
    }
    [[nodiscard]] QString runsOn() const { return m_rig->server.run().device.key(); }

private Q_SLOTS:
    void init() {
        m_rig.reset();
        m_rig = std::make_unique<DictationRig>();
        putFile(m_rig->modelPath, modelFile());
        putFile(m_rig->processes.resourceFolder() + "/bin/murlo-measure", {}, QFile::ExeOwner);
        m_rig->engineGetsReady();
        m_rig->tuner.begin();
        m_rig->scheduler.advance(2);
    }

    void theEngineMovesToTheFastestDevice() {
        QCOMPARE(measuring()->arguments.join(' '),
                 QString("--threads %1 --list").arg(m_rig->processes.cores));
        m_rig->controller.begin(true);
        tell(processorLine + gpuLine(0) + gpuLine(1));
        m_rig->scheduler.advance(20);
        QVERIFY(!measuring()); // nobody's dictation is slowed down
        m_rig->controller.cancel();
        m_rig->scheduler.advance(1);
        tell(processorLine + speedLine(-1, 65, 0.8) + gpuLine(0) + speedLine(0, 40) + gpuLine(1) +
             speedLine(1, 4000));
        m_rig->scheduler.advance(6); // it was busy, so once more; the better one counts
        tell(processorLine + speedLine(-1, 60, 0.75) + gpuLine(0) + gpuLine(1));
        QCOMPARE(m_rig->devices.speed().share, 0.8);
        m_rig->scheduler.advance(6);
        tell(processorLine + speedLine(-1, 65) + gpuLine(0) + speedLine(0, 40) + gpuLine(1) +
             speedLine(1, 4000));
        m_rig->scheduler.advance(29);
        QCOMPARE(runsOn(), "cpu");
        m_rig->scheduler.advance(1.5);
        QCOMPARE(runsOn(), "A GPU (2)");
        QVERIFY(m_rig->processes.last().arguments.endsWith("1"));
    }

    void aBusyProcessorIsNotBelieved() {
        tell(processorLine);
        for (int i = 0; i < 10; ++i) {
            m_rig->scheduler.advance(62);
            QVERIFY(m_rig->devices.speed().devices.isEmpty());
            tell(processorLine + speedLine(-1, 1, 0.5));
        }
        QCOMPARE(m_rig->devices.speed().share, 0.5); // better than none in the end
        m_rig->scheduler.advance(100);
        QVERIFY(!measuring());
        m_rig->tuner.begin(); // at the next start it may not be busy
        m_rig->scheduler.advance(2);
        tell(processorLine);
        m_rig->scheduler.advance(2);
        QVERIFY(measuring());
    }

    void whatIsKnownIsNotMeasuredAgain() {
        const QByteArray machine = processorLine + gpuLine(0);
        tell(machine);
        m_rig->scheduler.advance(1);
        tell(processorLine + speedLine(-1, 65) + gpuLine(0) + speedLine(0, 4000));
        m_rig->devices.setAside(m_rig->devices.deviceFor(m_rig->modelPath));
        m_rig->scheduler.runPending();
        for (const bool changed : {false, true}) {
            EngineDevices again(m_rig->settings, m_rig->paths, *m_rig->disk);
            QCOMPARE(again.devicesSetAside(), QStringList("A GPU"));
            m_rig->tuner.begin(); // as at the next start
            m_rig->scheduler.advance(2);
            tell(changed ? machine + gpuLine(1) : machine);
            m_rig->scheduler.advance(2);
            QCOMPARE(measuring() != nullptr, changed);
        }
        tell(processorLine + speedLine(-1, 65) + gpuLine(0) + speedLine(0, 4000) + gpuLine(1));
        QVERIFY(m_rig->devices.devicesSetAside().isEmpty()); // other hardware, another chance
    }

    void aMeasurementMayGoWrong_data() {
        const Rows<QByteArray, QString> row; // what it tells; the device for the model
        row("hangs at a driver", processorLine + speedLine(-1, 65) + gpuLine(0), "cpu");
        row("tells half", processorLine + speedLine(-1, 65) + "{\"event\":\"dev", "cpu");
        row("tells rubbish", "Segmentation fault\n{}\n[]\n\xff", "cpu");
        row("tells too much", QByteArray(3'000'000, 'x'), "cpu");
    }
    void aMeasurementMayGoWrong() {
        const auto [output, device] = fetch<QByteArray, QString>();
        tell(processorLine);
        m_rig->scheduler.advance(1);
        measuring()->handlers.output(output);
        m_rig->scheduler.advance(150); // longer than it may take
        QVERIFY(!measuring());
        QCOMPARE(m_rig->devices.deviceFor(m_rig->modelPath).key(), device);
        QCOMPARE(m_rig->devices.speed().devices.isEmpty(), !output.contains("speed"));
    }

    void theUserMayChoose_data() {
        const Rows<QString> row;
        for (const char* key : {"cpu", "A GPU", "A GPU (2)"}) row(key, key);
        row("a device that is gone", "A GPU (2)");
    }
    void theUserMayChoose() {
        m_rig->devices.setMeasured("this", processorLine + speedLine(-1, 65) + gpuLine(0) +
                                               speedLine(0, 90) + gpuLine(1) + speedLine(1, 4000));
        m_rig->settings.set(SettingKey::engineDevice, QString(QTest::currentDataTag()));
        QCOMPARE(m_rig->devices.deviceFor(m_rig->modelPath).key(), std::get<0>(fetch<QString>()));
    }

    void aSentenceThatAGpuLeavesUnansweredIsAnsweredElsewhere() {
        m_rig->devices.setMeasured("this", processorLine + speedLine(-1, 65) + gpuLine(0) +
                                               speedLine(0, 4000));
        m_rig->scheduler.advance(31);
        m_rig->http.answer(404, {}, "/");
        m_rig->engineAnswers({}); // the silence
        QCOMPARE(m_rig->server.state().state, EngineState::ready);
        m_rig->controller.begin(true);
        m_rig->speak(1);
        m_rig->controller.finish();
        m_rig->scheduler.advance(20.5);
        QCOMPARE(m_rig->clipsAtEngine(), 1);
        m_rig->scheduler.advance(0.6); // the connection ends with the process
        m_rig->http.fail("closed");
        m_rig->engineGetsReady();
        QCOMPARE(runsOn(), "cpu");
        m_rig->engineAnswers("words");
        m_rig->scheduler.advance(1);
        QCOMPARE(m_rig->pasted, QStringList("words"));
        QCOMPARE(m_rig->devices.devicesSetAside(), QStringList("A GPU"));
    }

    void slowAnswersAreRemarkedOnce() {
        m_rig->devices.setMeasured("this", processorLine + speedLine(-1, 65));
        const QString remark =
            "Answers take long with this speech model. Settings has a faster one.";
        for (const bool remarked : {false, true, false, false}) {
            dictate(3.1);
            QCOMPARE(m_rig->card() == remark, remarked);
            m_rig->scheduler.advance(10);
        }
        const auto model = ModelCatalog::preferred();
        QVERIFY(*m_rig->devices.secondsFor(model) > 5); // as predicted
        QVERIFY(m_rig->devices.offeredInsteadOf(m_rig->modelPath));
    }

    void slowPreviewsRest() {
        const auto asked = [this] {
            const auto before = m_rig->http.sent().size();
            m_rig->speak(2.5);
            return m_rig->http.sent().size() > before;
        };
        m_rig->controller.begin(true);
        QVERIFY(asked());
        m_rig->speak(3);
        m_rig->engineAnswers("words");
        QVERIFY(!asked());
        m_rig->controller.cancel();
        m_rig->scheduler.advance(300);
        m_rig->controller.begin(true);
        QVERIFY(asked());
    }
};

QTEST_GUILESS_MAIN(EngineTunerTest)
#include "EngineTunerTest.moc"
