#include "tests/harness/TriggerScript.h"

#include <QFile>
#include <QTextStream>

namespace murlo {

namespace {

bool readStep(const QString& line, TriggerScript& into) {
    const QStringList words = line.split(QLatin1Char(' '));
    if (line.endsWith(QLatin1String("ms"))) {
        into.steps.append({TriggerScript::Step::wait, {}, line.chopped(2).toLongLong()});
    } else if (words.first() == QLatin1String("press") && words.size() == 2) {
        into.steps.append({TriggerScript::Step::press, words.at(1), 0});
    } else if (words.first() == QLatin1String("release") && words.size() == 2) {
        into.steps.append({TriggerScript::Step::release, words.at(1), 0});
    } else if (words.first() == QLatin1String("set") && words.size() == 3) {
        into.settings.append({words.at(1), words.at(2)});
    } else {
        return false;
    }
    return true;
}

} // namespace

QList<TriggerScript> TriggerScript::load(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) qFatal("cannot read %s", qPrintable(path));
    QList<TriggerScript> scripts;
    bool expecting = false;
    int number = 0;
    for (QString line = QString::fromUtf8(file.readLine()); !line.isEmpty();
         line = QString::fromUtf8(file.readLine())) {
        ++number;
        line = line.trimmed();
        if (line.startsWith(QLatin1Char('#'))) continue;
        if (line.startsWith(QLatin1String("== "))) {
            TriggerScript script;
            script.name = line.mid(3);
            script.exact = script.name.endsWith(QLatin1String(" exact"));
            scripts.append(script);
            expecting = false;
        } else if (line.isEmpty()) {
            expecting = !scripts.isEmpty();
        } else if (expecting) {
            scripts.last().expected.append(line);
        } else if (scripts.isEmpty() || !readStep(line, scripts.last())) {
            qFatal("%s:%d: not understood: %s", qPrintable(path), number, qPrintable(line));
        }
    }
    return scripts;
}

bool reportsAgree(const QStringList& got, const QStringList& expected, double tolerance) {
    if (got.size() != expected.size()) return false;
    for (qsizetype i = 0; i < got.size(); ++i) {
        const QStringList a = got.at(i).split(QLatin1Char(' '));
        const QStringList b = expected.at(i).split(QLatin1Char(' '));
        if (a.size() != b.size() || a.mid(0, 2) != b.mid(0, 2)) return false;
        if (a.size() == 3 && std::abs(a.at(2).toDouble() - b.at(2).toDouble()) > tolerance) {
            return false;
        }
    }
    return true;
}

} // namespace murlo
