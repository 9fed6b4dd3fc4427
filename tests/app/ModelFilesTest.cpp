#include "tests/harness/ModelFiles.h"
#include "look/Words.h"
#include "setup/DownloadAnswer.h"
#include "setup/ModelFile.h"
#include "setup/ModelFolder.h"
#include "tests/fakes/FakeFileSystem.h"
#include "tests/harness/FullDisk.h"
#include "tests/harness/SupportFolder.h"

#include <QBuffer>
#include <QTest>

using namespace murlo;

/// Which files are models, where they may come from, and how they come and go.
class ModelFilesTest : public QObject {
    Q_OBJECT

    const QByteArray bytesOfModel = tinyModel(40'000, 'a');

private Q_SLOTS:
    void whatTellsAFileFromAnother() {
        const QByteArray then = "Sat, 14 Mar 2026 15:09:26 GMT";
        const auto validator = [&](const QByteArray& tag, const QByteArray& answered) {
            return DownloadAnswer::validator(
                {200, {}, {{"ETag", tag}, {"last-modified", then}, {"date", answered}}});
        };
        QCOMPARE(validator("\"a\"", then), "\"a\"");
        QCOMPARE(validator("W/\"a\"", "Sat, 14 Mar 2026 15:10:26 GMT"), then);
        for (const char* answered : {"Sat, 14 Mar 2026 15:10:25 GMT", "yesterday", ""})
            QCOMPARE(validator("W/\"a\"", answered), "");
    }

    void redirectsStayPrivate() {
        const auto leads = [](const char* from, const QByteArray& to) {
            return DownloadAnswer::redirectTarget(QUrl(from), {302, {}, {{"location", to}}})
                .value_or(QUrl())
                .toString();
        };
        QCOMPARE(leads("https://a.example/x/y", "../z?q=%2F"), "https://a.example/z?q=%2F");
        QCOMPARE(leads("https://a.example/", "//u:p@b.example/#f"), "https://b.example/");
        QCOMPARE(leads("http://127.0.0.1:1/", "https://b.example/"), "https://b.example/");
        for (const char* to : {"http://a.example/", "http://127.0.0.1/", "ftp://a.example/", "",
                               "file:///etc/passwd", "https:///x"})
            QCOMPARE(leads("https://a.example/", to), "");
        QCOMPARE(leads("http://127.0.0.1:1/", "http://a.example/"), "");
    }

    void aFileOfTheUsersJoinsTheModels() {
        const SupportFolder home;
        FakeFileSystem files;
        const ModelFolder folder(files, home.paths);
        const auto brought = [&](const QString& file) {
            const auto path = folder.importModel(file);
            return path ? QFileInfo(*path).fileName() : Words::english(path.error());
        };
        const QTemporaryDir elsewhere("/dev/shm/murlo-XXXXXX"); // another disk
        const QString mine = "/.Mein Modell (klein).BIN";
        for (const QString& from : {home.folder.path(), elsewhere.path()})
            putFile(from + mine, bytesOfModel);
        for (int again = 0; again < 2; ++again) // the second time it is there already
            QCOMPARE(brought(home.folder.path() + mine), "Mein-Modell-klein-.bin");
        QCOMPARE(brought(elsewhere.path() + mine), "Mein-Modell-klein--2.bin");
        for (const char* name :
             {"models/Mein-Modell-klein-.bin", "models/Mein-Modell-klein--2.bin"})
            QCOMPARE(home.get(name), bytesOfModel);
        const QString model = elsewhere.filePath("a.bin");
        putFile(model, bytesOfModel);
        files.available = bytesOfModel.size();
        QVERIFY(brought(model).startsWith("Murlo needs about 0.3 GB free"));
        files.available.reset();
        {
            const FullDisk disk(15'000);
            QCOMPARE(brought(model), "Couldn't save the speech engine. Please try again.");
        }
        putFile(model, "<html>");
        QCOMPARE(brought(model), "This file is not a speech model that Murlo can use.");
        for (const char* none : {"/no/such.bin", "/dev/zero", "/tmp"})
            QCOMPARE(brought(none), "This file can't be read.");
        const auto models = [&] { return QDir(home.paths.models()).entryList(QDir::Files); };
        QCOMPARE(models().size(), 2);

        for (const char* part : {"a.bin.part", "a.bin.part.json", "model.resume"})
            home.put(QString("models/") + part, "x");
        QVERIFY(!folder.deleteModel(model) && QFile::exists(model));
        for (const char* name : {"a.bin", "Mein-Modell-klein-.bin"})
            QVERIFY(folder.deleteModel(home.paths.models() + '/' + name));
        QCOMPARE(models(), QStringList{"Mein-Modell-klein--2.bin"});
    }

    void whatAModelIs() {
        QByteArray bytes = bytesOfModel;
        QBuffer file(&bytes);
        QVERIFY(file.open(QIODevice::ReadOnly));
        QVERIFY(ModelFile::isWhole(file));
        QFile real(QFINDTESTDATA("../data/ggml-mini-en.bin"));
        QVERIFY(real.open(QIODevice::ReadOnly) && ModelFile::isWhole(real));
        for (qsizetype size = 0; size < bytesOfModel.size(); size += size < 200 ? 1 : 997) {
            bytes = bytesOfModel.first(size);
            QVERIFY2(!ModelFile::isWhole(file), qPrintable(QString::number(size)));
        }
        bytes = bytesOfModel + 'x';
        QVERIFY(!ModelFile::isWhole(file));
    }
};

QTEST_GUILESS_MAIN(ModelFilesTest)
#include "ModelFilesTest.moc"
