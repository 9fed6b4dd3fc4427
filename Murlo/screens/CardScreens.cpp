#include "overlay/CardMetrics.h"
#include "overlay/CardMotion.h"
#include "overlay/CardPainter.h"
#include "screens/Screens.h"

#include <QLinearGradient>

#include <cmath>

namespace murlo {

namespace {

enum class Surroundings { light, dark, colourful };

void paintSurroundings(QPainter& painter, const QSize& size, Surroundings kind) {
    const QRectF all(0, 0, size.width(), size.height());
    if (kind != Surroundings::colourful) {
        painter.fillRect(all,
                         kind == Surroundings::light ? QColor(250, 250, 250) : QColor(18, 18, 20));
        // Lines of a document below the card.
        painter.setPen(Qt::NoPen);
        painter.setBrush(kind == Surroundings::light ? QColor(60, 60, 66) : QColor(190, 190, 196));
        for (int line = 0; line * 22 < size.height(); ++line) {
            const double width = size.width() * (0.62 + 0.3 * std::sin(line * 2.4));
            painter.drawRect(QRectF(14, line * 22 + 9, width, 5));
        }
        return;
    }
    QLinearGradient sky(0, 0, size.width(), size.height());
    sky.setColorAt(0, QColor(255, 173, 96));
    sky.setColorAt(0.45, QColor(214, 82, 120));
    sky.setColorAt(1, QColor(38, 60, 140));
    painter.fillRect(all, sky);
}

/// A state of the card, and how far it has come since the state before.
struct CardState {
    const char* name;
    DictationState state;
    QString words;
    double sinceWords = 2; ///< seconds since the last word came
    CardSurface surface = CardSurface::translucent;
};

CardRecord cardOf(const CardState& wanted) {
    OverlayModel model;
    CardMotion motion;
    const auto pass = [&](double seconds) {
        for (double t = 0; t < seconds; t += CardMetrics::frameInterval) {
            motion.update(model, CardMetrics::lively);
            motion.advance(CardMetrics::frameInterval);
        }
    };
    model.setState({DictationState::listening, {}});
    motion.update(model, CardMetrics::lively);
    model.setPresented(true);
    // A voice: syllables of differing strength with pauses between phrases.
    for (int i = 0; i < 160; ++i) {
        const double syllable = std::abs(std::sin(i * 0.42)) * (0.55 + 0.45 * std::sin(i * 0.11));
        const bool pause = i % 46 > 39;
        model.push(static_cast<float>(pause ? 0.002 : 0.004 + 0.22 * syllable * syllable));
        pass(CardMetrics::frameInterval);
    }
    model.setElapsed(83.4);
    QStringList words = wordsOf(wanted.words);
    if (!words.isEmpty() && wanted.sinceWords < 1) {
        model.setWords(transcriptWords(words.mid(0, words.size() - 4)));
        pass(2);
    }
    model.setWords(transcriptWords(words));
    pass(wanted.sinceWords);
    model.setState(wanted.state);
    motion.update(model, CardMetrics::lively);
    if (wanted.state.state != DictationState::listening) pass(1);
    return motion.present();
}

} // namespace

std::vector<Screen> cardScreens() {
    using State = DictationState;
    const QString one = QStringLiteral("Let us meet at the station");
    const QString two = QStringLiteral(
        "Let us meet at the station on Thursday, and bring the drawings of the new bridge");
    const QString four = QStringLiteral(
        "Let us meet at the station on Thursday, and bring the drawings of the new bridge, because "
        "the engineers want to talk about the northern pillar before the weekend, when the river "
        "is expected to rise again");
    const QString long_ = QStringLiteral(
        "The speech engine keeps stopping. It was started four times and ended each time before it "
        "could answer. Speech engine error 500: the model could not be read at offset 1048576, and "
        "the file may be damaged. Try Restart in Settings, under Speech.");
    const std::vector<CardState> states{
        {"listening", {State::listening, {}}, {}},
        {"listening-one-line", {State::listening, {}}, one},
        {"listening-two-lines", {State::listening, {}}, two},
        {"listening-four-lines", {State::listening, {}}, four},
        {"listening-words-arriving", {State::listening, {}}, four, 0.12},
        {"listening-right-to-left",
         {State::listening, {}},
         QStringLiteral("مرحبا بكم في المحطة الجديدة שלום עולם")},
        {"transcribing", {State::transcribing, {}}, {}},
        {"transcribing-two-lines", {State::transcribing, {}}, two},
        {"enhancing", {State::enhancing, {}}, {}},
        {"enhancing-one-line", {State::enhancing, {}}, one},
        {"delivered", {State::delivered, one}, {}},
        {"delivered-two-lines", {State::delivered, two}, two},
        {"failed", {State::failed, {}, Word::engineAnsweredNothing}, {}},
        {"failed-two-lines", {State::failed, {}, Word::copied + Message(Word::noTextBox)}, {}},
        {"failed-long", {State::failed, {}, {Word::asReported, {long_}}}, {}},
        {"opaque-listening", {State::listening, {}}, two, 2, CardSurface::opaque},
    };
    const QSize size = CardMetrics::panelSize;
    std::vector<Screen> screens;
    for (const CardState& state : states) {
        for (const auto& [suffix, around] :
             {std::pair("light", Surroundings::light), std::pair("dark", Surroundings::dark),
              std::pair("colourful", Surroundings::colourful)}) {
            screens.push_back(
                {QStringLiteral("card-%1-%2").arg(QLatin1String(state.name), QLatin1String(suffix)),
                 size, [state, size, around = around](QPainter& painter) {
                     paintSurroundings(painter, size, around);
                     const CardRecord card = cardOf(state);
                     if (state.surface == CardSurface::opaque)
                         painter.setClipPath(cardOutline(card));
                     paintCard(painter, card, state.surface);
                 }});
        }
    }
    return screens;
}

} // namespace murlo
