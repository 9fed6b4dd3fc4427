#include "platform/linux/processes/ComputingCores.h"
#include "tests/harness/Files.h"
#include "tests/harness/Rows.h"

#include <QTemporaryDir>
#include <QTest>

#include <algorithm>
#include <sched.h>

using namespace murlo;

namespace {

/// Binds all threads of this process to these processors.
bool bind(const cpu_set_t& processors) {
    const QStringList threads =
        QDir("/proc/self/task").entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    return std::ranges::all_of(threads, [&](const QString& thread) {
        return sched_setaffinity(thread.toInt(), sizeof processors, &processors) == 0;
    });
}

} // namespace

/// On how many cores this process may compute.
class ComputingCoresTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void cleanup() {
        qunsetenv("HWLOC_SYNTHETIC");
        qunsetenv("HWLOC_THISSYSTEM");
    }

    void threadsOfOneCoreCountOnce_data() {
        const Rows<int> row; // cores of the machine that hwloc imagines
        row("core:1 pu:1", 1);
        row("core:4 pu:2", 4);
        row("package:2 core:32 pu:2", 64);
    }
    void threadsOfOneCoreCountOnce() {
        if (processorTimeLimit("/sys/fs/cgroup", "/")) QSKIP("a control group limits this machine");
        qputenv("HWLOC_SYNTHETIC", QTest::currentDataTag());
        qputenv("HWLOC_THISSYSTEM", "0");
        QCOMPARE(computingCores(), std::get<0>(fetch<int>()));
    }

    void theProcessMayBeBoundToOne() {
        cpu_set_t before;
        QCOMPARE(sched_getaffinity(0, sizeof before, &before), 0);
        cpu_set_t one;
        CPU_ZERO(&one);
        for (int i = 0; CPU_COUNT(&one) == 0; ++i)
            if (CPU_ISSET(i, &before)) CPU_SET(i, &one);
        QVERIFY(bind(one));
        const int cores = computingCores();
        QVERIFY(bind(before));
        QCOMPARE(cores, 1);
    }

    void theLeastLimitOfAllGroupsAboveCounts() {
        const QTemporaryDir root;
        const auto limit = [&](const QString& group) {
            return processorTimeLimit(root.path(), group).value_or(-1);
        };
        putFile(root.filePath("user/cpu.max"), "max 100000\n");
        putFile(root.filePath("user/1000/cpu.max"), "150000 100000\n");
        putFile(root.filePath("user/1000/app/cpu.max"), "400000 100000\n");
        putFile(root.filePath("odd/cpu.max"), "words\n");
        QCOMPARE(limit("/user/1000/app"), 1.5);
        QCOMPARE(limit("user/1000/app/not/there"), 1.5);
        for (const char* group : {"/user", "/odd", "/", "", "/nowhere"}) QCOMPARE(limit(group), -1);
    }
};

QTEST_GUILESS_MAIN(ComputingCoresTest)
#include "ComputingCoresTest.moc"
