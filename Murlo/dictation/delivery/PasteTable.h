#pragma once

#include "MurloKit/PasteWay.h"

#include <QStringList>

namespace murlo {

class Settings;

/// How to paste into a program: by the user's own rows (the setting "pasteWays"), then by the
/// built-in ones, then Ctrl+Shift+V for a program that reports to be a terminal, then Ctrl+V. Main
/// thread.
class PasteTable {
public:
    explicit PasteTable(const Settings& settings);

    /// `program` are the names by which the window system knows it, in lower case.
    [[nodiscard]] PasteWay wayOf(const QStringList& program, bool isTerminal) const;
    /// Whether a program with these names is known to be a terminal.
    [[nodiscard]] static bool isTerminal(const QStringList& program);

private:
    const Settings& m_settings;
};

} // namespace murlo
