#include "tests/harness/desktop/Desk.h"
#include "tests/harness/desktop/TargetApp.h"
#include "tests/harness/desktop/Waiting.h"

#include <QClipboard>
#include <QFileInfo>
#include <QGuiApplication>
#include <QImage>
#include <QMimeData>
#include <QTest>

using namespace murlo;

namespace {

const QString sentence = "Where is the image?";
const QByteArray ownFormat = "application/x-made-up";

/// Something to lose: a picture, a text and bytes that no program knows.
void fillClipboard() {
    auto* content = new QMimeData; // the clipboard takes it
    QImage image(40, 30, QImage::Format_RGB32);
    image.fill(Qt::darkCyan);
    content->setImageData(image);
    content->setText("kept");
    content->setData(QString::fromLatin1(ownFormat), QByteArray("\0\1\2\xff", 4));
    QGuiApplication::clipboard()->setMimeData(content);
}

bool clipboardIsWhole() {
    const QMimeData* content = QGuiApplication::clipboard()->mimeData();
    const auto image = qvariant_cast<QImage>(content->imageData());
    return content->text() == QLatin1String("kept") && image.size() == QSize(40, 30) &&
           image.pixelColor(7, 7) == QColor(Qt::darkCyan) &&
           content->data(QString::fromLatin1(ownFormat)) == QByteArray("\0\1\2\xff", 4);
}

} // namespace

/// The real program, engine, microphone stream and keys; only the voice is made.
class DictationTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void wordsLandInOtherProgramsBoxes_data() {
        QTest::addColumn<QString>("app");
        QTest::addColumn<QString>("mode");
        QTest::addColumn<bool>("hold");
        const QString paste = "paste";
        const QString type = "type";
        for (const char* app : {"gtk-entry", "editor", "terminal", "browser"}) {
            const QString name = QLatin1String(app);
            QTest::addRow("%s, pasted", app) << name << paste << false;
            QTest::addRow("%s, typed", app) << name << type << false;
        }
        QTest::newRow("editor, pasted, trigger held") << "editor" << paste << true;
    }

    void wordsLandInOtherProgramsBoxes() {
        QFETCH(QString, app);
        QFETCH(QString, mode);
        QFETCH(bool, hold);
        fillClipboard();
        Desk desk(MURLO_PROGRAM, MURLO_MODEL);
        QVERIFY(desk.startMurlo({{"insertMode", mode}}));
        TargetApp target(*TargetApp::kindNamed(app));
        QVERIFY(target.start());
        QVERIFY(desk.dictate(sentence, hold));
        QVERIFY(desk.delivered());
        QVERIFY(Desk::holds(target, sentence));
        QTRY_COMPARE(desk.murlo.history(), QStringList{sentence});
        QTRY_VERIFY2(clipboardIsWhole(), "what was on the clipboard is not back");
        QVERIFY(!desk.keyboard.isDown("LFSH"));
        QCOMPARE(desk.murlo.quit(), 0);
    }

    void theClipboardAloneIsFilledOnRequest() {
        Desk desk(MURLO_PROGRAM, MURLO_MODEL);
        QVERIFY(desk.startMurlo({{"insertMode", "clipboardOnly"}}));
        TargetApp target(TargetApp::Kind::gtkEntry);
        QVERIFY(target.start());
        QVERIFY(desk.dictate(sentence));
        QVERIFY(desk.delivered());
        QTRY_COMPARE(QGuiApplication::clipboard()->text(), sentence);
        QCOMPARE(target.text(), QString());
    }

    void silenceLeavesEverythingAsItWas() {
        fillClipboard();
        Desk desk(MURLO_PROGRAM, MURLO_MODEL);
        QVERIFY(desk.startMurlo());
        TargetApp target(TargetApp::Kind::gtkEntry);
        QVERIFY(target.start());
        QVERIFY(desk.begin());
        letPass(1500);
        desk.doubleTap();
        QVERIFY(desk.murlo.awaitLog("dictation: empty transcript"));
        QCOMPARE(target.text(), QString());
        QVERIFY(desk.murlo.history().isEmpty());
        QVERIFY(clipboardIsWhole());
    }

    void escapeThrowsTheWordsAwayAndTheNextOnesLand() {
        Desk desk(MURLO_PROGRAM, MURLO_MODEL);
        QVERIFY(desk.startMurlo());
        TargetApp target(TargetApp::Kind::editor);
        QVERIFY(target.start());
        QVERIFY(desk.dictate("The scene is dull."));
        QVERIFY(desk.murlo.awaitLog("dictation: "));
        letPass(50);
        desk.keyboard.tap("ESC"); // while the engine is at it
        QVERIFY(desk.murlo.awaitLog("dictation: transcription discarded"));
        QVERIFY(desk.dictate(sentence));
        QVERIFY(desk.delivered());
        QVERIFY(Desk::holds(target, sentence));
        QTRY_COMPARE(desk.murlo.history(), QStringList{sentence});
    }

    void aNewDictationMayBeginWhileTheLastIsTranscribed() {
        Desk desk(MURLO_PROGRAM, MURLO_MODEL);
        QVERIFY(desk.startMurlo());
        TargetApp target(TargetApp::Kind::editor);
        QVERIFY(target.start());
        QVERIFY(desk.dictate("The scene is dull."));
        QVERIFY(desk.dictate(sentence));
        QTRY_COMPARE_WITH_TIMEOUT(desk.murlo.history(),
                                  (QStringList{sentence, "The scene is dull."}), 30000);
        QVERIFY(Desk::holds(target, "The scene is dull." + sentence));
    }

    void recordingEndsByItselfAtItsLongest() {
        Desk desk(MURLO_PROGRAM, MURLO_MODEL);
        QVERIFY(desk.startMurlo({{"maxRecordingSeconds", 3.0}}));
        TargetApp target(TargetApp::Kind::gtkEntry);
        QVERIFY(target.start());
        QVERIFY(desk.begin());
        QVERIFY(desk.speak(sentence));
        QVERIFY(desk.murlo.awaitLog("dictation: hit max length, wrapping up"));
        QVERIFY(Desk::holds(target, sentence));
    }

    void filesAreTheirOwnersAlone() {
        Desk desk(MURLO_PROGRAM, MURLO_MODEL);
        QVERIFY(desk.startMurlo());
        const auto others = QFile::ReadGroup | QFile::ExeGroup | QFile::ReadOther | QFile::ExeOther;
        QVERIFY(!(QFileInfo(desk.murlo.file({})).permissions() & others));
    }
};

QTEST_MAIN(DictationTest)
#include "DictationTest.moc"
