#include "Figures.h"

#include <QApplication>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTextStream>
#include <QTimer>

#include <algorithm>
#include <ctime>

namespace murlo {

double median(QList<double> values) {
    return quantile(std::move(values), 0.5);
}

double quantile(QList<double> values, double part) {
    if (values.isEmpty()) return 0;
    std::sort(values.begin(), values.end());
    const auto last = static_cast<double>(values.size() - 1);
    return values.at(static_cast<qsizetype>(std::llround(last * part)));
}

double seconds() {
    timespec time{};
    clock_gettime(CLOCK_MONOTONIC, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

double processSeconds() {
    timespec time{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

double timed(int times, const std::function<void()>& work) {
    QList<double> took;
    for (int i = 0; i < times; ++i) {
        const double start = seconds();
        work();
        took.append(seconds() - start);
    }
    return median(took);
}

void progress(const QString& what) {
    QTextStream(stderr) << "bench: " << what << '\n';
}

} // namespace murlo

namespace {

using murlo::Figure;

/// Four digits that count, or all of a large number.
QString shortly(double number) {
    return number < 1000 ? QString::number(number, 'g', 4) : QString::number(number, 'f', 0);
}

void printTable(const QList<Figure>& figures) {
    QTextStream out(stdout);
    out << "| figure | value | baseline | ratio |\n|---|---|---|---|\n";
    for (const Figure& figure : figures) {
        out << QStringLiteral("| %1 | %2 %3 | %4 %3 (%5) | %6 |\n")
                   .arg(figure.name)
                   .arg(shortly(figure.value))
                   .arg(figure.unit)
                   .arg(shortly(figure.baseline))
                   .arg(figure.baselineName)
                   .arg(figure.ratio(), 0, 'g', 3);
    }
}

void printJson(const QList<Figure>& figures) {
    QJsonArray list;
    for (const Figure& figure : figures) {
        list.append(QJsonObject{{QStringLiteral("name"), figure.name},
                                {QStringLiteral("value"), figure.value},
                                {QStringLiteral("unit"), figure.unit},
                                {QStringLiteral("baseline"), figure.baseline},
                                {QStringLiteral("ratio"), figure.ratio()}});
    }
    QTextStream(stdout) << QJsonDocument(list).toJson();
}

} // namespace

/// murlo-bench [--json] [--model FILE (else $MURLO_MODEL)] [--models FOLDER] [--only
/// audio|microphone|tap|dictation|card|scan|hints|account|engine|process]
int main(int argc, char** argv) {
    QApplication application(argc, argv);
    const QStringList arguments = QApplication::arguments();
    if (arguments.contains(QStringLiteral("--bare"))) {
        // The baseline of a start: the least that a program with this toolkit does.
        QTimer::singleShot(0, [] { QTextStream(stderr) << "bare: live" << Qt::endl; });
        return QApplication::exec();
    }
    if (arguments.contains(QStringLiteral("--form")))
        return murlo::showForm(arguments.last().toInt());
    const auto option = [&arguments](const char* name) {
        const qsizetype at = arguments.indexOf(QLatin1String(name));
        return at >= 0 ? arguments.value(at + 1) : QString();
    };
    const QString only = option("--only");
    const QString model =
        option("--model").isEmpty() ? qEnvironmentVariable("MURLO_MODEL") : option("--model");
    const auto wanted = [&only](const char* name) {
        return only.isEmpty() || only == QLatin1String(name);
    };
    QList<Figure> figures;
    if (wanted("audio")) figures += murlo::audioFigures();
    if (wanted("microphone")) figures += murlo::microphoneFigures();
    if (wanted("tap")) figures += murlo::tapFigures();
    if (wanted("dictation")) figures += murlo::dictationFigures(model);
    if (wanted("card")) figures += murlo::cardFigures();
    if (wanted("scan")) figures += murlo::scanFigures();
    if (wanted("hints")) figures += murlo::hintFigures();
    if (wanted("account")) figures += murlo::accountFigures();
    if (wanted("engine")) figures += murlo::engineFigures(model, option("--models"));
    if (wanted("process")) figures += murlo::processFigures(model);
    if (arguments.contains(QStringLiteral("--json"))) {
        printJson(figures);
    } else {
        printTable(figures);
    }
    return figures.isEmpty() ? 1 : 0;
}
