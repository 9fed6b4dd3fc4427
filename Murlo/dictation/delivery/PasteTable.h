#pragma once

#include "MurloKit/PasteWay.h"

#include <QStringList>

namespace murlo {

class Settings;

/// Which program pastes with what: the user's own rows (the setting "pasteWays"), then those below,
/// then Ctrl+Shift+V for whatever says of itself that it is a terminal, then Ctrl+V. Main thread.
class PasteTable {
public:
    explicit PasteTable(const Settings& settings);

    /// `program` are the names by which the window system knows it, in lower case.
    [[nodiscard]] PasteWay wayOf(const QStringList& program, bool isTerminal) const;

private:
    const Settings& m_settings;
};

} // namespace murlo
