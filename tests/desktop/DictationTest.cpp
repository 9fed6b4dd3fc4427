#include "tests/harness/Rows.h"
#include "tests/harness/desktop/TestDesk.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QImage>
#include <QMimeData>

using namespace murlo;

namespace {

using Kind = TargetApp::Kind;
const QString sentence = "Where is the image?";
const QString dull = "The scene is dull.";
const QString ownFormat = "application/x-made-up";
const QByteArray ownBytes("\0\1\2\xff", 4);

/// Something to lose: a picture, a text and bytes that no program knows.
void fillClipboard() {
    auto* content = new QMimeData; // the clipboard takes it
    QImage image(40, 30, QImage::Format_RGB32);
    image.fill(Qt::darkCyan);
    content->setImageData(image);
    content->setText("kept");
    content->setData(ownFormat, ownBytes);
    QGuiApplication::clipboard()->setMimeData(content);
}

bool clipboardIsWhole() {
    const QMimeData* content = QGuiApplication::clipboard()->mimeData();
    const auto image = qvariant_cast<QImage>(content->imageData());
    return content->text() == "kept" && image.size() == QSize(40, 30) &&
           image.pixelColor(7, 7) == QColor(Qt::darkCyan) && content->data(ownFormat) == ownBytes;
}

} // namespace

/// The real program, engine, microphone stream and keys; only the voice is made.
class DictationTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void wordsLandInOtherProgramsBoxes_data() {
        const Rows<Kind, QString, bool> row; // the program, the mode, whether the trigger is held
        for (const QByteArray app : {"gtk-entry", "editor", "terminal", "browser"})
            for (const char* mode : {"paste", "type"})
                row(app + ", " + mode, *TargetApp::kindNamed(app), mode, false);
        row("editor, paste, trigger held", Kind::editor, "paste", true);
    }
    void wordsLandInOtherProgramsBoxes() {
        const auto [app, mode, hold] = fetch<Kind, QString, bool>();
        fillClipboard();
        TestDesk desk;
        QVERIFY(desk.startWith(app, {{"insertMode", mode}}));
        QVERIFY(desk.dictate(sentence, hold) && desk.delivered());
        QVERIFY(desk.holds(sentence));
        QTRY_COMPARE(desk.murlo.history(), QStringList{sentence});
        QTRY_VERIFY2(clipboardIsWhole(), "what was on the clipboard is not back");
        QVERIFY(!desk.keyboard.isDown("LFSH"));
        QCOMPARE(desk.murlo.quit(), 0);
    }

    void silenceLeavesEverythingAsItWas() {
        fillClipboard();
        TestDesk desk;
        QVERIFY(desk.startWith(Kind::gtkEntry));
        QVERIFY(desk.begin());
        letPass(1500);
        desk.end();
        QVERIFY(desk.murlo.awaitLog("dictation: empty transcript"));
        QCOMPARE(desk.target->text(), "");
        QVERIFY(desk.murlo.history().isEmpty());
        QVERIFY(clipboardIsWhole());
    }

    void escapeThrowsTheWordsAwayAndTheNextOnesLand() {
        TestDesk desk;
        QVERIFY(desk.startWith(Kind::editor));
        QVERIFY(desk.dictate(dull));
        QVERIFY(desk.murlo.awaitLog("dictation: "));
        letPass(50);
        desk.keyboard.tap("ESC"); // while the engine is at it
        QVERIFY(desk.murlo.awaitLog("dictation: transcription discarded"));
        QVERIFY(desk.lands(sentence));
        QTRY_COMPARE(desk.murlo.history(), QStringList{sentence});
    }

    void aNewDictationMayBeginWhileTheLastIsTranscribed() {
        TestDesk desk;
        QVERIFY(desk.startWith(Kind::editor));
        QVERIFY(desk.dictate(dull) && desk.dictate(sentence));
        QTRY_COMPARE_WITH_TIMEOUT(desk.murlo.history(), QStringList({sentence, dull}), 30000);
        QVERIFY(desk.holds(dull + sentence));
    }
};

QTEST_MAIN(DictationTest)
#include "DictationTest.moc"
