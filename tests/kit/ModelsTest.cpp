#include "MurloKit/DiskSpace.h"
#include "MurloKit/DownloadEstimate.h"
#include "MurloKit/EngineSpeed.h"
#include "tests/harness/Rows.h"

using namespace murlo;

/// Which speech model a machine gets, from what was measured on it.
class ModelsTest : public QObject {
    Q_OBJECT

    /// What the measuring program tells of a device whose speed is the same at every width.
    static QByteArray told(int device, const QByteArray& kind, double gflops,
                           qint64 memory = 64'000'000'000) {
        const QByteArray number = QByteArray::number(device);
        QByteArray speeds;
        for (const char* type : {"q5_0", "q5_1", "q8_0"})
            speeds += (speeds.isEmpty() ? "\"" : ",\"") + QByteArray(type) +
                      "\":{\"384\":" + QByteArray::number(gflops) +
                      ",\"1280\":" + QByteArray::number(gflops) + "}";
        return "{\"event\":\"device\",\"device\":" + number + ",\"kind\":\"" + kind +
               "\",\"memory_total\":" + QByteArray::number(memory) +
               "}\n{\"event\":\"speed\",\"device\":" + number + ",\"gflops\":{" + speeds +
               "},\"layer_ns\":1000}\n";
    }

private Q_SLOTS:
    void namesForPeople_data() {
        const Rows<QString> name;
        name("/a/b/ggml-large-v3-turbo-q5_0.bin", "Murlo Fast");
        name("ggml-base.en.bin", "Base.En");
        name("ggml-large-v3-turbo-q8_0.bin", "Large V3 Turbo Q8_0");
        name("MY own.bin", "My Own");
    }
    void namesForPeople() {
        QCOMPARE(ModelCatalog::displayName(QTest::currentDataTag()), std::get<0>(fetch<QString>()));
    }

    void howLongADownloadTakes() {
        const double never = qQNaN();
        const std::tuple<qint64, qint64, double, Word, QString> rows[] = {
            {0, 1000, 10, Word::connecting, ""},   {500, 1000, 0.5, Word::connecting, ""},
            {500, -1, 10, Word::connecting, ""},   {500, 1000, never, Word::connecting, ""},
            {990, 1000, 10, Word::almostDone, ""}, {1, 60, 1, Word::almostDone, ""},
            {1, 61, 1, Word::minuteLeft, ""},      {1, 90, 1, Word::minuteLeft, ""},
            {1, 91, 1, Word::minutesLeft, "2"},    {1, 90'001, 1, Word::minutesLeft, "1500"},
        };
        for (const auto& [written, total, elapsed, word, minutes] : rows)
            QCOMPARE(DownloadEstimate::remainingText(written, total, elapsed),
                     Message(word, minutes.isEmpty() ? QStringList() : QStringList{minutes}));
    }
    void whatAModelNeedsOfTheDisk() {
        QVERIFY(!DiskSpace::check(1'200'000'000));
        QCOMPARE(DiskSpace::check(1'199'999'999), Message(Word::notEnoughSpace, {"1.2"}));
        QCOMPARE(DiskSpace::needed(ModelCatalog::preferred()), 1'200'000'000);
        QCOMPARE(DiskSpace::needed(ModelCatalog::models().first()), 232'152'673);
    }

    void theMachineGetsWhatAnswersInTime_data() {
        const Rows<QByteArray, QString, int> row; // what is told; model; device
        const int cpu = EngineDevice::processor;
        const QByteArray two = told(cpu, "cpu", 65);
        row("nothing was measured", "rubbish\n{\"event\":\"dev", "ggml-base-q5_1.bin", cpu);
        row("a slow processor", told(cpu, "cpu", 5), "ggml-base-q5_1.bin", cpu);
        row("two cores", two, "ggml-base-q8_0.bin", cpu);
        row("sixteen", told(cpu, "cpu", 520), "ggml-small-q8_0.bin", cpu);
        row("a great processor", told(cpu, "cpu", 1000), "ggml-large-v3-turbo-q5_0.bin", cpu);
        row("a graphics card", two + told(0, "discrete", 4000), "ggml-large-v3-turbo-q5_0.bin", 0);
        row("the faster of two", two + told(0, "integrated", 400) + told(1, "discrete", 4000),
            "ggml-large-v3-turbo-q5_0.bin", 1);
        row("one slower than the processor", two + told(0, "discrete", 30), "ggml-base-q8_0.bin",
            cpu);
        row("one without the memory", two + told(0, "discrete", 4000, 500'000'000),
            "ggml-small-q8_0.bin", 0);
        row("one that failed", two + "{\"event\":\"device\",\"device\":0}\n", "ggml-base-q8_0.bin",
            cpu);
    }
    void theMachineGetsWhatAnswersInTime() {
        const auto [output, model, device] = fetch<QByteArray, QString, int>();
        const auto speed = EngineSpeed::parse(output);
        QCOMPARE(speed.choice().file, model);
        const auto fastest = speed.fastest(speed.choice());
        QCOMPARE(fastest.value_or(EngineDevice()).number, device);
    }
};

QTEST_GUILESS_MAIN(ModelsTest)
#include "ModelsTest.moc"
