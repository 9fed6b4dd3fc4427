#include "platform/linux/qt/QtFileSystem.h"
#include "tests/contract/Worlds.h"
#include "tests/fakes/FakeFileSystem.h"

#include <QTemporaryDir>

using namespace murlo;

class FileSystemContractTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void tellsOfTheDiskAndWaitsForIt_data() { addWorlds(); }
    void tellsOfTheDiskAndWaitsForIt() {
        QFETCH(const bool, real);
        const std::unique_ptr<FileSystem> files =
            real ? std::unique_ptr<FileSystem>(new QtFileSystem)
                 : std::unique_ptr<FileSystem>(new FakeFileSystem);
        const QTemporaryDir folder;
        QFile file(folder.filePath("ä file"));
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write("x") == 1 && file.flush());
        QVERIFY(files->sync(file.fileName()));
        QVERIFY(files->sync(folder.path()));
        QVERIFY(!files->sync(folder.filePath("none")));
        QVERIFY(files->availableBytes(folder.path()).value_or(0) > 0);
    }
};

QTEST_GUILESS_MAIN(FileSystemContractTest)
#include "FileSystemContractTest.moc"
