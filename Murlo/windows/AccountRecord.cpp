#include "windows/AccountRecord.h"

#include "look/Words.h"

namespace murlo {

AccountRecord presentAccount(const AccountFacts& facts) {
    AccountRecord row;
    const Message where = facts.remoteHost.isEmpty()
                              ? Message(Word::staysHere)
                              : Message(Word::accountIsOn, {facts.remoteHost});
    row.isTrouble = !facts.trouble.isEmpty();
    row.detail = Words::shown(row.isTrouble ? facts.trouble : where);
    if (facts.signedIn) {
        row.status = Words::shown(facts.email.isEmpty() ? Message(Word::signedIn)
                                                        : Message(Word::signedInAs, {facts.email}));
        row.offersEnhance = true;
        row.enhance = facts.enhance;
    } else {
        row.status = Words::shown(Word::signInFirst);
    }
    if (facts.signedIn && !facts.lacksKey) {
        row.button = Words::shown(Word::logOut);
    } else {
        row.button =
            Words::shown(facts.provider.isEmpty() ? Message(Word::continueHere)
                                                  : Message(Word::continueWith, {facts.provider}));
        row.buttonWorks = !facts.signingIn;
    }
    return row;
}

} // namespace murlo
