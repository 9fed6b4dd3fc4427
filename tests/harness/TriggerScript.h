#pragma once

#include "settings/Settings.h"
#include "tests/harness/Rows.h"
#include "tests/harness/SupportFolder.h"
#include "triggers/HotkeyMonitor.h"

#include <QRegularExpression>
#include <QTest>

namespace murlo {

/// A hotkey monitor that tells in words what it reports, and the scripts of tests/data/triggers.txt
/// for it. The head of that file explains the notation.
class TriggerScript {
public:
    /// Adds a row of test data for each case of the file, or for each with a star.
    static void addRows(const QString& path, bool starred = false) {
        const Rows<QString, QString> row; // script and reports
        const QRegularExpression notation("^(\\*?) *([^:]+): (.+) =>(.*)$");
        const QString file = QString::fromUtf8(contentOf(path));
        if (file.isEmpty()) qFatal("cannot read %s", qPrintable(path));
        for (const QString& line : file.split('\n')) {
            if (line.isEmpty() || line.startsWith('#')) continue;
            const auto part = notation.match(line);
            if (!part.hasMatch()) qFatal("not understood: %s", qPrintable(line));
            if (starred && part.captured(1).isEmpty()) continue;
            row(part.captured(2).toUtf8(), part.captured(3), part.captured(4).trimmed());
        }
    }

    /// Times are reported as multiples of `grain` seconds.
    explicit TriggerScript(EventTap& tap, double grain = 0.001)
        : monitor(tap, m_settings) {
        const auto name = [](HotkeyAction action) {
            return action == HotkeyAction::dictate ? "dictate" : "pickTarget";
        };
        monitor.onDoubleTap = [=, this](HotkeyAction action) {
            m_reports.append(QString("doubleTap ") + name(action));
        };
        monitor.onTriggerUp = [=, this](HotkeyAction action, double seconds) {
            const double rounded = std::round(seconds / grain) * grain;
            m_reports.append(QString("up %1 %2").arg(name(action)).arg(rounded, 0, 'g', 3));
        };
        monitor.onEscape = [this] { m_reports.append("escape"); };
    }

    /// Sets what a script wants set, and has each key moved at its millisecond.
    void play(const QString& script,
              const std::function<void(const QString& key, bool down, int at)>& move) {
        int at = 0;
        for (const QString& word : script.split(' ')) {
            const QString value = word.section('=', -1);
            bool isNumber = false;
            const double number = value.toDouble(&isNumber);
            if (word.startsWith('+') || word.startsWith('-'))
                move(word.mid(1), word.startsWith('+'), at);
            else if (word.contains('='))
                m_settings.set(qPrintable(word.section('=', 0, 0)),
                               isNumber ? QJsonValue(number) : QJsonValue(value));
            else if (isNumber)
                at += int(number);
            else
                qFatal("not understood: %s", qPrintable(word));
        }
    }
    /// What was reported so far.
    [[nodiscard]] QString reports() const { return m_reports.join("; "); }

private:
    SupportFolder m_at;
    Settings m_settings{m_at.paths, *m_at.disk};
    QStringList m_reports;

public:
    HotkeyMonitor monitor;
};

} // namespace murlo
