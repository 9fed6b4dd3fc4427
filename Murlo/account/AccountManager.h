#pragma once

#include <QObject>

namespace murlo {

class Settings;

/// Whether somebody is signed in: an account's e-mail address is stored. Main thread.
class AccountManager : public QObject {
    Q_OBJECT

public:
    explicit AccountManager(const Settings& settings);

    [[nodiscard]] bool isSignedIn() const { return m_signedIn; }

Q_SIGNALS:
    /// Nobody was signed in before.
    void signedIn();
    void signedOut();

private:
    void refresh();

    const Settings& m_settings;
    bool m_signedIn = false;
};

} // namespace murlo
