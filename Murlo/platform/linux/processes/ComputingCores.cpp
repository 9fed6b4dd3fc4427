#include "platform/linux/processes/ComputingCores.h"

#include <QDir>
#include <QFile>

#include <algorithm>
#include <cmath>
#include <hwloc.h>
#include <thread>

namespace murlo {

namespace {

QByteArray contentOf(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll().trimmed() : QByteArray();
}

/// Cores that have a processor which this process may run on; nothing when that cannot be told.
std::optional<int> coresAllowed() {
    hwloc_topology_t topology = nullptr;
    if (hwloc_topology_init(&topology) != 0) return std::nullopt;
    hwloc_topology_set_flags(topology, HWLOC_TOPOLOGY_FLAG_IS_THISSYSTEM |
                                           HWLOC_TOPOLOGY_FLAG_RESTRICT_TO_CPUBINDING);
    hwloc_topology_set_all_types_filter(topology, HWLOC_TYPE_FILTER_KEEP_STRUCTURE);
    hwloc_topology_set_type_filter(topology, HWLOC_OBJ_CORE, HWLOC_TYPE_FILTER_KEEP_ALL);
    std::optional<int> cores;
    if (hwloc_topology_load(topology) == 0)
        cores = hwloc_get_nbobjs_by_type(topology, HWLOC_OBJ_CORE);
    hwloc_topology_destroy(topology);
    return cores && *cores > 0 ? cores : std::nullopt;
}

/// Of this process, in the unified hierarchy: the line "0::/user.slice/…".
QString ownControlGroup() {
    for (const QByteArray& line : contentOf(QStringLiteral("/proc/self/cgroup")).split('\n'))
        if (line.startsWith("0::")) return QString::fromUtf8(line.mid(3));
    return {};
}

} // namespace

std::optional<double> processorTimeLimit(const QString& root, const QString& path) {
    std::optional<double> least;
    for (QString group = QDir::cleanPath(QLatin1Char('/') + path);;
         group = group.left(group.lastIndexOf(QLatin1Char('/')))) {
        // "QUOTA PERIOD" in microseconds, or "max PERIOD"; the root group has no such file.
        const QList<QByteArray> words =
            contentOf(root + group + QStringLiteral("/cpu.max")).split(' ');
        const double quota = words.value(0).toDouble();
        const double period = words.value(1).toDouble();
        if (quota > 0 && period > 0)
            least = std::min(least.value_or(quota / period), quota / period);
        if (group.isEmpty() || group == QLatin1String("/")) return least;
    }
}

int computingCores() {
    const int processors = static_cast<int>(std::thread::hardware_concurrency());
    int cores = coresAllowed().value_or(processors);
    if (const auto limit = processorTimeLimit(QStringLiteral("/sys/fs/cgroup"), ownControlGroup()))
        cores = std::min(cores, static_cast<int>(std::ceil(*limit)));
    return std::max(1, cores);
}

} // namespace murlo
