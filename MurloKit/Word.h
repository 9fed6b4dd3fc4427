#pragma once

namespace murlo {

/// Every sentence and label shown to the user; `Words` has the translations.
enum class Word {
    // Why a dictation could not begin, or not be transcribed
    microphoneOff,
    noInputDevice,
    unsupportedFormat,
    inputChanged,
    engineTooSlow,
    engineMissing,
    noModel,
    engineNotStarted,
    engineNotInTime,
    engineKeepsStopping, ///< the exit status
    engineAnsweredNothing,
    engineError,       ///< the HTTP status
    engineErrorSaying, ///< the HTTP status, what the engine wrote
    answersTakeLong,
    asReported, ///< the system's own sentence, as it is
    // Where a text is that did not go into a box
    copied,
    nothingTranscribed,
    copyOnly,
    noTextBox,
    noKeys,
    // Letters
    accessibilityOff,
    passwordField,
    noBoxesFound,
    silentApplication, ///< its name
    boxVanished,
    // The card
    dictation,
    transcribing,
    enhancing,
    inserted,
    // The menu
    startDictation, ///< the trigger's name
    stopDictation,
    engineStopped,
    engineLoading,
    engineReady,
    engineFailed,    ///< why
    takeFasterModel, ///< the model's name
    speechModel,
    speechModelMore,
    runsOn,
    fastestDevice,
    fastestDeviceIs, ///< its name
    processor,
    deviceSetAside, ///< its name
    tryAgain,
    aboutSeconds, ///< how many
    megabytes,    ///< how many
    recommended,
    englishOnly,
    hearsEnglishOnly,
    download,
    downloadModel, ///< its name
    pauseDownload,
    deleteIt,
    deleteModel, ///< its name
    percentDone, ///< how many
    recent,
    finishSetup,
    openMurlo,
    runSelfTest,
    openLog,
    updateTo, ///< a version
    murloVersion,
    quitMurlo,
    livesUpHere,
    livesDownHere,
    clickForMore,
    logNotOpened, ///< its path
    // The speech model's download
    connecting,
    almostDone,
    minuteLeft,
    minutesLeft, ///< how many
    noInternet,
    connectionTimedOut,
    serverNotReached,
    somethingWrong,
    downloadBlocked,
    downloadRefused,
    modelNotSaved,
    notEnoughSpace, ///< the gigabytes that are needed
    noModelFile,
    fileNotReadable,
    // Questions and windows
    quitQuestion,
    quitMeans,
    cancel,
    quit,
    hideMurlo,
    edit,
    cut,
    copy,
    paste,
    selectAll,
    window,
    close,
    // The account
    signInCancelled,
    signInUnexpected, ///< the provider's name
    signInPageUnexpected,
    signInNotOpened,
    backendPortTaken,
    revokedElsewhere,
    signupIncomplete,
    signedInAs, ///< the e-mail address
    signedIn,
    logOut,
    continueWith, ///< the provider's name
    continueHere,
    staysHere,
    accountIsOn, ///< the backend's host
    signInFirst,
    enhance,
    enhanceMeans,
    finishInBrowser,
    browserWaits,
    openAgain,
    copyAddress,
    restart,
    restartEngine,
    recentDictations,
    nothingYet,
    howToDictate,
    triggersOff,
    // Setup
    warmingUp,
    waitingForShortcut,
    noneDone,
    allThreeOn,
    someDone, ///< how many, of how many
    murlo,
    speakSoftly,
    runsHere,
    recognisesHere,
    getStarted,
    accountSyncs,
    accountStays,
    settingUp,
    downloadOnce,
    thenOffline,
    downloadProgress,
    haveModelFile,
    threePermissions,
    permissionsMeans,
    microphone,
    hearsYou,
    microphoneDenied,
    accessibility,
    typesForYou,
    neverReadsScreen,
    inputMonitoring,
    noticesDoubleTap,
    waylandHidesKeys,
    keysHidden,
    grant,
    grantIt, ///< what
    notNow,
    notNowMeans,
    switchedOn,
    switchedOff,
    restartMurlo,
    stepOfThree, ///< its number
    wordsAppearHere,
    clickTheBox,
    tapAndTalk, ///< the trigger's name
    tapToStop,  ///< the trigger's name
    oneMoment,
    nothingLanded, ///< the trigger's name
    orHold,
    practiceDone,
    next,
    doubleTap, ///< a trigger's name
    lettersPopUp,
    pressLetterHere,
    pressLetterBelow,
    otherAppsLetter, ///< the trigger's name
    talkThenTap,
    wholeTrick,
    havingTrouble,
    youAreReady,
    tapToTalk, ///< a trigger's name
    tapToPick, ///< a trigger's name
    startsAtLogin,
    openMurloAgain,
    startUsing,
    basicsAgain,
    // The self-test
    selfTest,
    selfTestMeans,
    start,
    ok,
    tapsNeedKeys,
    pastingNeedsAccess,
    engineNotReady,
    engineIsStopped,
    engineStillLoading,
    microphoneFailed,
    noAudio,
    noAudioMeans,
    transcriptionFailed,
    everythingWorks,
    heard,         ///< the text
    transcribedIn, ///< how many
    heardNothing,
    heardNothingMeans, ///< its size
    // Moving the application
    moveMurlo,
    whyMove,
    movingMeans,
    moveIt,
    notMoved,
    moveYourself,
    // The trigger keys, in the order of `TriggerKey`
    rightCommandKey,
    leftCommandKey,
    rightOptionKey,
    leftOptionKey,
    rightShiftKey,
    leftShiftKey,
    rightControlKey,
    fnKey,
    count ///< number of words, not a word itself
};

} // namespace murlo
