#pragma once

#include "tests/harness/desktop/TargetApp.h"

#include <QString>
#include <QStringList>

#include <tl/expected.hpp>

namespace murlo {

/// What `./dev demo` was asked to do.
struct DemoOptions {
    QString say; ///< what is spoken; empty when a recording is played
    QString wav; ///< the recording to play; empty when a text is spoken
    TargetApp::Kind app = TargetApp::Kind::gtkEntry;
    QString appName; ///< as it was written
    QString mode;    ///< the setting "insertMode"
    bool hold = false;
    bool pick = false;    ///< the box is picked by its letter, out of another window
    bool enhance = false; ///< signs in first, and has the text rewritten
    QString letter;       ///< to press then; empty for the one on the program's box
    QString model;        ///< file of the speech model
    QString screenshots;  ///< folder for pictures; empty for none
    QString murlo;        ///< the program
};

/// Reads the command line. The error is one sentence for the user; --help prints and ends.
[[nodiscard]] tl::expected<DemoOptions, QString> parseDemoOptions(const QStringList& arguments);

} // namespace murlo
