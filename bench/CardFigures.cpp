#include "Figures.h"
#include "MurloKit/TranscriptAccumulator.h"
#include "overlay/NonKeyPanel.h"
#include "overlay/OverlayController.h"
#include "overlay/TranscriptTypesetter.h"
#include "platform/linux/qt/QtScheduler.h"
#include "platform/linux/x11/surfaces/X11Surfaces.h"
#include "platform/linux/x11/windows/X11Desktop.h"
#include "tests/harness/desktop/Waiting.h"

#include <QApplication>
#include <QEvent>
#include <QFile>
#include <QFontMetricsF>

namespace murlo {

namespace {

double residentMegabytes() {
    QFile file(QStringLiteral("/proc/self/statm"));
    if (!file.open(QIODevice::ReadOnly)) return 0;
    return file.readAll().split(' ').value(1).toDouble() * 4096 / 1e6;
}

class PaintCounter : public QObject {
public:
    int paints = 0;

protected:
    bool eventFilter(QObject* watched, QEvent* event) override {
        if (event->type() == QEvent::Paint && watched->isWidgetType()) ++paints;
        return false;
    }
};

class CardBench {
public:
    CardBench() { qApp->installEventFilter(&m_counter); }
    QList<Figure> measure();

private:
    QList<Figure> listening();

    QtScheduler m_scheduler;
    std::shared_ptr<RootWatch> m_watch = std::make_shared<RootWatch>();
    X11Desktop m_desktop{m_watch};
    X11Surfaces m_surfaces{m_scheduler, m_watch};
    PaintCounter m_counter;
    OverlayController m_overlay{m_scheduler, [this](OverlayModel& model) {
                                    return std::make_unique<NonKeyPanel>(model, m_scheduler,
                                                                         m_desktop, m_surfaces);
                                }};
};

QList<Figure> CardBench::listening() {
    m_overlay.show({DictationState::listening, {}});
    letPass(500);
    const QStringList words =
        QStringLiteral("and so the words come one after the other").split(QLatin1Char(' '));
    QStringList said;
    m_counter.paints = 0;
    const double start = seconds();
    const double used = processSeconds();
    double elapsed = 0;
    // As a recording drives it: a level for each 4096 frames at 48 kHz, a clock of tenths, and
    // three words with each preview.
    const auto levels = m_scheduler.every(4096 / 48000.0, [&] {
        m_overlay.model().push(static_cast<float>(0.1 + 0.1 * std::sin(seconds() * 9)));
    });
    const auto previews = m_scheduler.every(1.1, [&] {
        for (int i = 0; i < 3; ++i) said.append(words[said.size() % words.size()]);
        m_overlay.model().setWords(transcriptWords(said));
    });
    const auto clock = m_scheduler.every(0.1, [&] {
        elapsed += 0.1;
        m_overlay.model().setElapsed(elapsed);
    });
    letPass(6000);
    const double took = seconds() - start;
    const double share = (processSeconds() - used) / took * 100;
    const double frames = m_counter.paints / took;
    m_overlay.hide();
    letPass(700);
    const double idleStart = processSeconds();
    letPass(2000);
    const double idle = (processSeconds() - idleStart) / 2 * 100;
    return {{QStringLiteral("listening card with words, processor time beyond the hidden card's"),
             share - idle, QStringLiteral("% of a core"), 3, QStringLiteral("the aim")},
            {QStringLiteral("listening card, frames"), frames, QStringLiteral("per second"), 60,
             QStringLiteral("the clock's")}};
}

QList<Figure> CardBench::measure() {
    const double before = residentMegabytes();
    QList<Figure> figures = listening();
    const double after = residentMegabytes();
    figures.append({QStringLiteral("resident memory after cards, whole bench process"), after,
                    QStringLiteral("MB"), before, QStringLiteral("before the first")});
    return figures;
}

QStringList someWords(int count) {
    QStringList words;
    for (int i = 0; i < count; ++i) words.append(QStringLiteral("word%1").arg(i % 997));
    return words;
}

/// One preview's way into the lines, for transcripts of several lengths.
QList<Figure> transcriptFigures() {
    QList<Figure> figures;
    for (const int count : {50, 500, 5000}) {
        const QStringList all = someWords(count);
        const QString preview = all.mid(qMax(0, count - 40)).join(QLatin1Char(' '));
        TranscriptAccumulator transcript(6);
        transcript.ingest(all.join(QLatin1Char(' ')));
        const double ingest = timed(20, [&] { transcript.ingest(preview); });
        const auto words = transcript.words();
        const double layout = timed(20, [&] { (void)TranscriptTypesetter::layout(words, 380); });
        const double measured = timed(3, [&] {
            const QFontMetricsF metrics(TranscriptTypesetter::attributes());
            for (const auto& word : words) (void)metrics.horizontalAdvance(word.text);
        });
        figures.append({QStringLiteral("taking up a preview at %1 words").arg(count), ingest * 1e3,
                        QStringLiteral("ms"), 16.7, QStringLiteral("a frame")});
        figures.append({QStringLiteral("laying out %1 words").arg(count), layout * 1e3,
                        QStringLiteral("ms"), measured * 1e3,
                        QStringLiteral("measuring each word anew")});
    }
    return figures;
}

} // namespace

QList<Figure> cardFigures() {
    progress(QStringLiteral("the card"));
    return CardBench().measure() + transcriptFigures();
}

} // namespace murlo
