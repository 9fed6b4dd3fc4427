#include "setup/InstallOffer.h"

#include "look/Words.h"
#include "platform/InstallLocation.h"
#include "support/Log.h"

namespace murlo {

using Words::shown;

namespace {
const QString emptyLine = QStringLiteral("\n\n");
} // namespace

bool InstallOffer::begin() {
    if (!m_location.needsMoving()) return false;
    m_showAlert({shown(Word::moveMurlo),
                 shown(Word::whyMove) + emptyLine + shown(Word::movingMeans), shown(Word::moveIt),
                 shown(Word::quit)},
                m_lifetime.guard([this](bool moves) {
                    if (moves)
                        move();
                    else
                        m_quit();
                }));
    return true;
}

void InstallOffer::move() {
    const auto moved = m_location.move();
    if (moved) {
        Log::write(QStringLiteral("install: moved to /Applications, relaunching"));
        m_location.openCopy(m_quit);
        return;
    }
    m_showAlert({shown(Word::notMoved),
                 moved.error() + emptyLine + shown(Word::moveYourself),
                 shown(Word::ok),
                 {}},
                [quit = m_quit](bool) { quit(); });
}

} // namespace murlo
