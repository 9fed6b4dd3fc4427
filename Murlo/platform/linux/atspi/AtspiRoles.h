#pragma once

#include "AtspiTypes.h"

#include <QHash>

namespace murlo {

/// What an object is, in the words of the `Accessibility` port.
struct AtspiDescription {
    QString role;
    QString subrole;       ///< empty for most
    bool editable = false; ///< the user can change its text now
};

/// Whether objects of the role are controls that one operates, rather than places that something
/// is put into.
[[nodiscard]] bool isControl(AtspiRole role);

/// Maps this desktop's roles onto those of the port: the one place that knows both. Text that
/// cannot be changed is "AXStaticText"; a combo box without a text to edit is "AXPopUpButton".
/// `interfaces` are D-Bus interface names, `attributes` the object attributes of its toolkit.
[[nodiscard]] AtspiDescription describe(AtspiRole role, const AtspiStates& states,
                                        const QStringList& interfaces,
                                        const QHash<QString, QString>& attributes);

} // namespace murlo
