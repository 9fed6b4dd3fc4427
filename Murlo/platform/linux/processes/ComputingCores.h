#pragma once

#include <QString>

#include <optional>

namespace murlo {

/// Physical cores on which this process may compute at the same time: those of the processors that
/// its affinity allows, but no more than the control groups give it time for. At least 1. Threads
/// of one core share its arithmetic, so that more of them than cores make the engine slower.
/// Any thread; some milliseconds.
[[nodiscard]] int computingCores();

/// The processors' worth of time that the control group at `path` and those above it give, by their
/// files "cpu.max" below `root`; nothing when no limit is set there.
[[nodiscard]] std::optional<double> processorTimeLimit(const QString& root, const QString& path);

} // namespace murlo
