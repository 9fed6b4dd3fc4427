#pragma once

#include "setup/WizardFacts.h"

#include <QStringList>

#include <optional>

namespace murlo {

/// What a control of the wizard does.
enum class WizardAction {
    none,
    getStarted,
    signIn,
    download,
    importModel, ///< asks for a file first
    next,        ///< ends an exercise, done or not
    finish,
    restart
};

/// A button, or a link. Without a text it is not there.
struct WizardControl {
    QString text = {};
    WizardAction action = WizardAction::none;
    bool works = true;

    friend bool operator==(const WizardControl&, const WizardControl&) = default;
};

/// The three permissions, in the order of their rows.
enum class PermissionKind { microphone, accessibility, inputMonitoring };

/// A permission's row.
struct PermissionRow {
    PermissionKind kind = PermissionKind::microphone;
    bool isGranted = false;
    QString title = {};
    QStringList details = {}; ///< one or two lines
    QString warning = {};     ///< what is wrong, if anything is
    QString state = {};       ///< for assistive technology
    QString grant = {};       ///< the button's text; empty without a button
    QString spokenGrant = {}; ///< the same for assistive technology
    QString notNow = {};      ///< of the button that declines; empty without one

    friend bool operator==(const PermissionRow&, const PermissionRow&) = default;
};

/// What a screen of the wizard shows. A part that is empty is not there. In titles, lines and
/// instructions bold text stands between double asterisks; see `spans`.
struct WizardRecord {
    OnboardingPhase phase = OnboardingPhase::welcome;
    QString title = {};
    QStringList lines = {};
    QString notice = {};  ///< about the account
    QString failure = {}; ///< of what the screen does
    WizardControl button = {};
    WizardControl link = {};
    // The download
    std::optional<double> progress = {}; ///< from 0 to 1
    QString progressName = {};           ///< for assistive technology
    QString remaining = {};
    // Permissions
    QList<PermissionRow> rows = {};
    QString granted = {}; ///< how many there are
    QString waiting = {}; ///< beside a clock
    // Exercises
    QString step = {};
    QString instruction = {};
    QString placeholder = {}; ///< of the exercise's text box, which is there with it
    QString hint = {};        ///< another way to do it
    bool isDone = false;      ///< a check mark stands before the instruction

    friend bool operator==(const WizardRecord&, const WizardRecord&) = default;
};

/// The screen for these facts. Main thread.
[[nodiscard]] WizardRecord presentWizard(const WizardFacts& facts);

/// A piece of a text.
struct TextSpan {
    QString text;
    bool isBold = false;

    friend bool operator==(const TextSpan&, const TextSpan&) = default;
};

/// A text's pieces, without the asterisks.
[[nodiscard]] QList<TextSpan> spans(const QString& text);
/// The whole text without the asterisks, as assistive technology reads it.
[[nodiscard]] QString plain(const QString& text);

} // namespace murlo
