#pragma once

#include "backend/AccountError.h"

#include <QObject>

namespace murlo {

/// Where everybody who calls the backend tells that it has refused a key. What follows from that is
/// the account's business. Main thread.
class RefusedKeys : public QObject {
    Q_OBJECT

public:
    /// Passes on an `unauthorized` that answered a request; of other errors nothing follows.
    void note(const AccountError& error) {
        if (error.kind == AccountError::unauthorized && !error.sentKey.isEmpty())
            Q_EMIT refused(error.sentKey);
    }

Q_SIGNALS:
    /// The backend answered 401 to a request that carried this key.
    void refused(const QString& key);
};

} // namespace murlo
