#include "MurloKit/FriendlyError.h"

namespace murlo {

Message FriendlyError::message(NetworkFailure failure) {
    switch (failure) {
    case NetworkFailure::offline:
        return Word::noInternet;
    case NetworkFailure::timedOut:
        return Word::connectionTimedOut;
    case NetworkFailure::noHost:
    case NetworkFailure::refused:
    case NetworkFailure::cutOff:
        return Word::serverNotReached;
    case NetworkFailure::other:
        break;
    }
    return Word::somethingWrong;
}

Message FriendlyError::downloadRefused(int status) {
    const bool isBlocked = status == 401 || status == 403 || status == 407 || status == 451;
    return isBlocked ? Word::downloadBlocked : Word::downloadRefused;
}

} // namespace murlo
