#pragma once

#include <QList>
#include <QString>
#include <QStringList>

namespace murlo {

/// One case of a trigger script: what the keyboard does and what must be reported. The notation is
/// explained at the head of tests/data/triggers.txt.
struct TriggerScript {
    struct Step {
        enum Kind { press, release, wait } kind;
        QString key;             ///< a trigger's raw name, or what is printed on the key
        qint64 milliseconds = 0; ///< of a wait
    };

    QString name;
    bool exact = false; ///< its times are too fine for a real keyboard
    QList<std::pair<QString, QString>> settings;
    QList<Step> steps;
    QStringList expected; ///< "doubleTap ACTION", "up ACTION SECONDS", "escape"

    /// All cases of a file; a line that cannot be read ends the test program with its number.
    [[nodiscard]] static QList<TriggerScript> load(const QString& path);
};

/// Whether reports agree with what was expected, times within `tolerance` seconds.
[[nodiscard]] bool reportsAgree(const QStringList& got, const QStringList& expected,
                                double tolerance);

} // namespace murlo
