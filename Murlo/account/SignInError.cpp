#include "account/SignInError.h"

namespace murlo {

Message SignInError::message(const QString& provider) const {
    switch (kind) {
    case badResponse:
        if (provider.isEmpty()) return Word::signInPageUnexpected;
        return {Word::signInUnexpected, {provider}};
    case failedToStart:
        return Word::signInNotOpened;
    case portTaken:
        return Word::backendPortTaken;
    case transport:
        return {Word::asReported, {words}};
    case cancelled:
        break;
    }
    return Word::signInCancelled;
}

} // namespace murlo
