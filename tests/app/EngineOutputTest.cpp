#include "dictation/engine/EngineOutput.h"
#include "tests/harness/Rows.h"

using namespace murlo;

/// What the log gets of the engine's output.
class EngineOutputTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void takesDiagnosticsAndNeverSpeech_data() {
        const Rows<QByteArray, QByteArray> row; // what the engine prints, what is taken of it
        const auto taken = [&](const char* name, const QByteArray& all) { row(name, all, all); };
        taken("a diagnostic", "whisper_full_with_state: failed to encode\n");
        taken("speech", " the upload failed\nthe error is: mine\nerror: it failed\n");
        taken("the server's own words", "/usr/lib/whisper-server: failed to process audio\n"
                                        "error: failed to read audio data\n");
        taken("an assertion", "/src/ggml.c:42: GGML_ASSERT(x) failed\n");
        taken("UTF-8", "ggml_x: failed in “Modelle für alle”\n");
        row("no error", "whisper_model_load: ok\n\n\nError\n", "");
        row("not UTF-8", "ggml_x: failed \xff\xfe\n", "");
        const QByteArray longest = "ggml_x: failed " + QByteArray(985, 'x');
        row("too long", longest + QByteArray(100'000, 'x') + "\nggml_y: failed\n",
            longest + "\nggml_y: failed\n");
        row("ended by the process", "ggml_x: failed", "ggml_x: failed\n");
    }
    void takesDiagnosticsAndNeverSpeech() {
        const auto [output, expected] = fetch<QByteArray, QByteArray>();
        for (const bool heardSpeech : {false, true}) {
            for (const qsizetype size : {qsizetype(1), qsizetype(7), output.size()}) {
                QByteArray taken;
                EngineOutput engine([&](const QString& line) { taken += line.toUtf8() + '\n'; });
                if (heardSpeech) engine.setHeardSpeech(); // which the process could repeat
                for (qsizetype at = 0; at < output.size(); at += size)
                    engine.add(output.mid(at, size));
                engine.finish();
                const bool speech = QTest::currentDataTag() == QByteArray("speech");
                QCOMPARE(taken, heardSpeech && speech ? QByteArray() : expected);
            }
        }
    }

    void aFloodOfErrorsDoesNotFillTheLog() {
        int lines = 0;
        EngineOutput engine([&](const QString&) { ++lines; });
        for (int piece = 0; piece < 1000; ++piece) engine.add("ggml_x: failed\n");
        QCOMPARE(lines, EngineOutput::mostLines);
    }
};

QTEST_GUILESS_MAIN(EngineOutputTest)
#include "EngineOutputTest.moc"
