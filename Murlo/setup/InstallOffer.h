#pragma once

#include "platform/Port.h"
#include "platform/Scheduler.h"
#include "setup/Alert.h"

namespace murlo {

class InstallLocation;

/// Offers to move the application to where it can work. Main thread.
class InstallOffer : NonCopyable {
public:
    /// `quit` ends the program without a question.
    InstallOffer(InstallLocation& location, ShowAlert showAlert, std::function<void()> quit)
        : m_location(location)
        , m_showAlert(std::move(showAlert))
        , m_quit(std::move(quit)) {}

    /// At the program's start, before anything else: true when the start must not go on, since the
    /// program is going to end, whatever the user decides.
    [[nodiscard]] bool begin();

private:
    void move();

    InstallLocation& m_location;
    ShowAlert m_showAlert;
    std::function<void()> m_quit;
    Lifetime m_lifetime;
};

} // namespace murlo
