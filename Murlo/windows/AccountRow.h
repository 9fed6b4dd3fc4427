#pragma once

#include "windows/AccountRecord.h"

#include <QCheckBox>
#include <QLabel>
#include <QPushButton>
#include <QWidget>

#include <functional>

namespace murlo {

/// What the row reads and does.
struct AccountRowActions {
    std::function<AccountRecord()> record = [] { return AccountRecord(); };
    std::function<void()> press;
    std::function<void(bool)> setEnhance;
};

/// Where the account stands, with a button that signs in or out and the switch for enhancing. Main
/// thread.
class AccountRow : public QWidget {
    Q_OBJECT

public:
    explicit AccountRow(AccountRowActions actions);
    /// Takes up what has changed.
    void refresh();

private:
    AccountRowActions m_actions;
    QLabel* m_status;
    QLabel* m_detail;
    QPushButton* m_button;
    QCheckBox* m_enhance;
    QLabel* m_enhanceMeans;
};

} // namespace murlo
