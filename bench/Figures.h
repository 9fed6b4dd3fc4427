#pragma once

#include <QList>
#include <QString>

#include <functional>

namespace murlo {

/// One measured figure beside its baseline of the same run. The ratio is value / baseline: machines
/// differ and are noisy, ratios of one run much less so.
struct Figure {
    QString name;
    double value = 0;
    QString unit;
    double baseline = 0;
    QString baselineName;

    [[nodiscard]] double ratio() const { return baseline > 0 ? value / baseline : 0; }
};

/// The middle one of the values; 0 without any.
[[nodiscard]] double median(QList<double> values);
/// The value below which this part (0…1) of the values lies.
[[nodiscard]] double quantile(QList<double> values, double part);
/// Seconds on a clock that never goes backwards.
[[nodiscard]] double seconds();
/// Seconds of processor time that this process has used.
[[nodiscard]] double processSeconds();
/// Median of the seconds that `work` takes, over `times` runs.
[[nodiscard]] double timed(int times, const std::function<void()>& work);

/// Says what is being measured, on standard error.
void progress(const QString& what);

/// Another program for the letters: a window with two lines of text above so many labels. Runs
/// until it is ended.
[[nodiscard]] int showForm(int labels);

// The measurements, one subject each. They throw nothing; what could not be measured is left out,
// with a word on standard error.
[[nodiscard]] QList<Figure> audioFigures();
[[nodiscard]] QList<Figure> microphoneFigures();
[[nodiscard]] QList<Figure> tapFigures();
[[nodiscard]] QList<Figure> dictationFigures(const QString& model);
[[nodiscard]] QList<Figure> cardFigures();
[[nodiscard]] QList<Figure> scanFigures();
[[nodiscard]] QList<Figure> hintFigures();
[[nodiscard]] QList<Figure> accountFigures();
/// `models`: a folder of speech models whose times are held against what is predicted, or empty.
[[nodiscard]] QList<Figure> engineFigures(const QString& model, const QString& models);
[[nodiscard]] QList<Figure> processFigures(const QString& model);

} // namespace murlo
