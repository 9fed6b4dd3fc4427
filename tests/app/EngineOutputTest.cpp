#include "dictation/engine/EngineOutput.h"

#include <QTest>

namespace murlo {

class EngineOutputTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void takesDiagnosticsAndNeverSpeech_data() {
        QTest::addColumn<QByteArray>("output");
        QTest::addColumn<QStringList>("before"); ///< while the process cannot know any speech
        QTest::addColumn<QStringList>("after");
        const auto add = [](const char* name, const QByteArray& output, const QStringList& before,
                            const QStringList& after) {
            QTest::newRow(name) << output << before << after;
        };
        const auto alike = [&](const char* name, const QByteArray& output,
                               const QStringList& lines) { add(name, output, lines, lines); };
        alike("a diagnostic", "whisper_full_with_state: failed to encode\n",
              {"whisper_full_with_state: failed to encode"});
        alike("no error", "whisper_model_load: ok\n\n\nError\n", {});
        add("speech", " the upload failed\nthe error is: mine\nerror: it failed\n",
            {" the upload failed", "the error is: mine", "error: it failed"}, {});
        alike(
            "the server's own words",
            "/usr/lib/whisper-server: failed to process audio\nerror: failed to read audio data\n",
            {"/usr/lib/whisper-server: failed to process audio",
             "error: failed to read audio data"});
        alike("an assertion", "/src/ggml.c:42: GGML_ASSERT(x) failed\n",
              {"/src/ggml.c:42: GGML_ASSERT(x) failed"});
        alike("not UTF-8", "ggml_x: failed \xff\xfe\n", {});
        const QString umlaut = QString::fromUtf8("ggml_x: failed in “Modelle für alle”");
        alike("UTF-8", umlaut.toUtf8() + '\n', {umlaut});
        const QString cut = "ggml_x: failed " + QString(985, 'x');
        alike("too long", cut.toLatin1() + QByteArray(100'000, 'x') + "\nggml_y: failed\n",
              {cut, "ggml_y: failed"});
        alike("ended by the process", "ggml_x: failed", {"ggml_x: failed"});
    }
    void takesDiagnosticsAndNeverSpeech() {
        QFETCH(QByteArray, output);
        for (const bool heardSpeech : {false, true}) {
            for (const qsizetype size :
                 {qsizetype(1), qsizetype(7), output.size()}) { // however cut
                QStringList lines;
                EngineOutput engine([&](const QString& line) { lines << line; });
                if (heardSpeech) engine.setHeardSpeech();
                for (qsizetype at = 0; at < output.size(); at += size)
                    engine.add(output.mid(at, size));
                engine.finish();
                QTEST(lines, heardSpeech ? "after" : "before");
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

} // namespace murlo

QTEST_GUILESS_MAIN(murlo::EngineOutputTest)
#include "EngineOutputTest.moc"
