<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="de_DE" sourcelanguage="en">
<context>
    <name>Words</name>
    <message>
        <source>Microphone access is off. Turn it on in System Settings, under Privacy &amp; Security.</source>
        <translation>Der Zugriff auf das Mikrofon ist ausgeschaltet. Schalten Sie ihn in den Einstellungen unter „Datenschutz &amp; Sicherheit“ ein.</translation>
    </message>
    <message>
        <source>No microphone found. Check System Settings → Sound → Input.</source>
        <translation>Kein Mikrofon gefunden. Sehen Sie in den Einstellungen unter „Klang → Eingabe“ nach.</translation>
    </message>
    <message>
        <source>This microphone's audio format isn't supported.</source>
        <translation>Das Audioformat dieses Mikrofons wird nicht unterstützt.</translation>
    </message>
    <message>
        <source>The microphone changed while starting. Try again.</source>
        <translation>Das Mikrofon hat beim Starten gewechselt. Versuchen Sie es noch einmal.</translation>
    </message>
    <message>
        <source>The speech engine took too long to start. Try Restart in Settings, under Speech.</source>
        <translation>Die Spracherkennung hat zu lange zum Starten gebraucht. Versuchen Sie „Neu starten“ in den Einstellungen unter „Sprache“.</translation>
    </message>
    <message>
        <source>The speech engine is missing from the app. Reinstall Murlo.</source>
        <translation>Die Spracherkennung fehlt in diesem Programm. Installieren Sie Murlo neu.</translation>
    </message>
    <message>
        <source>No speech model installed yet. Relaunch Murlo to download it.</source>
        <translation>Noch kein Sprachmodell installiert. Starten Sie Murlo neu, um es herunterzuladen.</translation>
    </message>
    <message>
        <source>Could not start the speech engine.</source>
        <translation>Die Spracherkennung konnte nicht gestartet werden.</translation>
    </message>
    <message>
        <source>The speech engine did not start in time. Try Restart in Settings, under Speech.</source>
        <translation>Die Spracherkennung ist nicht rechtzeitig gestartet. Versuchen Sie „Neu starten“ in den Einstellungen unter „Sprache“.</translation>
    </message>
    <message>
        <source>The speech engine keeps stopping (code %1). Open Settings, under Speech.</source>
        <translation>Die Spracherkennung beendet sich immer wieder (Code %1). Öffnen Sie die Einstellungen unter „Sprache“.</translation>
    </message>
    <message>
        <source>The speech engine returned nothing.</source>
        <translation>Die Spracherkennung hat nichts geantwortet.</translation>
    </message>
    <message>
        <source>Speech engine error %1</source>
        <translation>Fehler %1 der Spracherkennung</translation>
    </message>
    <message>
        <source>Speech engine error %1: %2</source>
        <translation>Fehler %1 der Spracherkennung: %2</translation>
    </message>
    <message>
        <source>Answers take long with this speech model. Settings has a faster one.</source>
        <translation>Mit diesem Sprachmodell dauern Antworten lange. In den Einstellungen gibt es ein schnelleres.</translation>
    </message>
    <message>
        <source>%1</source>
        <translation>%1</translation>
    </message>
    <message>
        <source>Copied to clipboard.</source>
        <translation>In die Zwischenablage kopiert.</translation>
    </message>
    <message>
        <source>Nothing was transcribed.</source>
        <translation>Es wurde nichts erkannt.</translation>
    </message>
    <message>
        <source>Copy-only mode is on.</source>
        <translation>Der Modus „Nur kopieren“ ist eingeschaltet.</translation>
    </message>
    <message>
        <source>No text box has focus. Click into one and paste with ⌘V.</source>
        <translation>Kein Textfeld hat den Fokus. Klicken Sie in eines und fügen Sie mit ⌘V ein.</translation>
    </message>
    <message>
        <source>Keys can't be sent to other programs, so the text was copied instead.</source>
        <translation>Tasten können nicht an andere Programme gesendet werden, deshalb wurde der Text kopiert.</translation>
    </message>
    <message>
        <source>Accessibility access is off, so text boxes can't be found. The command murlo --enable-accessibility turns it on.</source>
        <translation>Der Zugriff auf Bedienungshilfen ist ausgeschaltet, deshalb sind keine Textfelder zu finden. Der Befehl murlo --enable-accessibility schaltet ihn ein.</translation>
    </message>
    <message>
        <source>A password field somewhere is blocking shortcuts. Click elsewhere and try again.</source>
        <translation>Irgendwo blockiert ein Passwortfeld die Tastenkürzel. Klicken Sie woandershin und versuchen Sie es noch einmal.</translation>
    </message>
    <message>
        <source>No text boxes found on screen.</source>
        <translation>Keine Textfelder auf dem Bildschirm gefunden.</translation>
    </message>
    <message>
        <source>%1 shows its own when started with --force-renderer-accessibility.</source>
        <translation>%1 zeigt seine Textfelder, wenn es mit --force-renderer-accessibility gestartet wird.</translation>
    </message>
    <message>
        <source>That text box just disappeared. Try again.</source>
        <translation>Dieses Textfeld ist gerade verschwunden. Versuchen Sie es noch einmal.</translation>
    </message>
    <message>
        <source>Dictation</source>
        <translation>Diktat</translation>
    </message>
    <message>
        <source>Transcribing…</source>
        <translation>Wird erkannt…</translation>
    </message>
    <message>
        <source>Enhancing…</source>
        <translation>Wird überarbeitet…</translation>
    </message>
    <message>
        <source>Inserted</source>
        <translation>Eingefügt</translation>
    </message>
    <message>
        <source>Start Dictation  (double-tap %1)</source>
        <translation>Diktat beginnen  (%1 doppelt antippen)</translation>
    </message>
    <message>
        <source>Stop Dictation</source>
        <translation>Diktat beenden</translation>
    </message>
    <message>
        <source>Engine: stopped</source>
        <translation>Spracherkennung: angehalten</translation>
    </message>
    <message>
        <source>Engine: loading model…</source>
        <translation>Spracherkennung: Modell wird geladen…</translation>
    </message>
    <message>
        <source>Engine: ready</source>
        <translation>Spracherkennung: bereit</translation>
    </message>
    <message>
        <source>Engine: %1</source>
        <translation>Spracherkennung: %1</translation>
    </message>
    <message>
        <source>Use a Faster Speech Model  (%1)</source>
        <translation>Schnelleres Sprachmodell verwenden  (%1)</translation>
    </message>
    <message>
        <source>Speech Model</source>
        <translation>Sprachmodell</translation>
    </message>
    <message>
        <source>Speech Model…</source>
        <translation>Sprachmodell …</translation>
    </message>
    <message>
        <source>about %1 s for a sentence</source>
        <translation>etwa %1 s für einen Satz</translation>
    </message>
    <message>
        <source>%1 MB</source>
        <translation>%1 MB</translation>
    </message>
    <message>
        <source>recommended for this computer</source>
        <translation>für diesen Computer empfohlen</translation>
    </message>
    <message>
        <source>English only</source>
        <translation>nur Englisch</translation>
    </message>
    <message>
        <source>This speech model hears English only. Choose another one for the language that you speak.</source>
        <translation>Dieses Sprachmodell versteht nur Englisch. Wählen Sie ein anderes für die Sprache, die Sie sprechen.</translation>
    </message>
    <message>
        <source>Download</source>
        <translation>Laden</translation>
    </message>
    <message>
        <source>Pause</source>
        <translation>Anhalten</translation>
    </message>
    <message>
        <source>Delete</source>
        <translation>Löschen</translation>
    </message>
    <message>
        <source>Runs on</source>
        <translation>Läuft auf</translation>
    </message>
    <message>
        <source>Fastest device</source>
        <translation>Schnellstes Gerät</translation>
    </message>
    <message>
        <source>Fastest device (%1)</source>
        <translation>Schnellstes Gerät (%1)</translation>
    </message>
    <message>
        <source>Processor</source>
        <translation>Prozessor</translation>
    </message>
    <message>
        <source>%1 failed and is set aside.</source>
        <translation>%1 ist ausgefallen und wird nicht verwendet.</translation>
    </message>
    <message>
        <source>Try Again</source>
        <translation>Erneut versuchen</translation>
    </message>
    <message>
        <source>Download %1</source>
        <translation>%1 laden</translation>
    </message>
    <message>
        <source>Delete %1</source>
        <translation>%1 löschen</translation>
    </message>
    <message>
        <source>%1 % ·</source>
        <translation>%1 % ·</translation>
    </message>
    <message>
        <source>Recent</source>
        <translation>Zuletzt</translation>
    </message>
    <message>
        <source>Finish setup…</source>
        <translation>Einrichtung abschließen…</translation>
    </message>
    <message>
        <source>Open Murlo…</source>
        <translation>Murlo öffnen…</translation>
    </message>
    <message>
        <source>Run Self-Test…</source>
        <translation>Selbsttest ausführen…</translation>
    </message>
    <message>
        <source>Open Log</source>
        <translation>Protokoll öffnen</translation>
    </message>
    <message>
        <source>Update to %1…</source>
        <translation>Auf %1 aktualisieren…</translation>
    </message>
    <message>
        <source>Murlo %1</source>
        <translation>Murlo %1</translation>
    </message>
    <message>
        <source>Quit Murlo</source>
        <translation>Murlo beenden</translation>
    </message>
    <message>
        <source>Murlo lives up here.</source>
        <translation>Murlo wohnt hier oben.</translation>
    </message>
    <message>
        <source>Click for settings, history and your shortcuts.</source>
        <translation>Klicken Sie für Einstellungen, Verlauf und Ihre Kürzel.</translation>
    </message>
    <message>
        <source>The log can't be opened here. It is %1</source>
        <translation>Das Protokoll kann hier nicht geöffnet werden. Es ist %1</translation>
    </message>
    <message>
        <source>Connecting…</source>
        <translation>Verbindung wird hergestellt …</translation>
    </message>
    <message>
        <source>almost done</source>
        <translation>fast fertig</translation>
    </message>
    <message>
        <source>about 1 minute left</source>
        <translation>noch etwa 1 Minute</translation>
    </message>
    <message>
        <source>about %1 minutes left</source>
        <translation>noch etwa %1 Minuten</translation>
    </message>
    <message>
        <source>No internet connection. Check your Wi-Fi and try again.</source>
        <translation>Keine Internetverbindung. Prüfen Sie das Netzwerk und versuchen Sie es noch einmal.</translation>
    </message>
    <message>
        <source>The connection timed out. Check your Wi-Fi and try again.</source>
        <translation>Die Verbindung hat zu lange gedauert. Prüfen Sie das Netzwerk und versuchen Sie es noch einmal.</translation>
    </message>
    <message>
        <source>Couldn't reach the server. Check your Wi-Fi and try again.</source>
        <translation>Der Server ist nicht erreichbar. Prüfen Sie das Netzwerk und versuchen Sie es noch einmal.</translation>
    </message>
    <message>
        <source>Another user of this computer has the port of the account page. The line backend = http://127.0.0.1:8767 in ~/.config/murlo/murlo.conf moves yours.</source>
        <translation>Ein anderer Benutzer dieses Computers hat den Port der Kontoseite. Die Zeile backend = http://127.0.0.1:8767 in ~/.config/murlo/murlo.conf gibt Ihnen einen eigenen.</translation>
    </message>
    <message>
        <source>Something went wrong. Please try again.</source>
        <translation>Etwas ist schiefgegangen. Bitte versuchen Sie es noch einmal.</translation>
    </message>
    <message>
        <source>The download was blocked. If you're on a work or school network, try another connection.</source>
        <translation>Der Download wurde blockiert. In einem Firmen- oder Schulnetz hilft vielleicht eine andere Verbindung.</translation>
    </message>
    <message>
        <source>The download server had a problem. Please try again.</source>
        <translation>Auf dem Download-Server gab es ein Problem. Bitte versuchen Sie es noch einmal.</translation>
    </message>
    <message>
        <source>Couldn't save the speech engine. Please try again.</source>
        <translation>Die Spracherkennung konnte nicht gespeichert werden. Bitte versuchen Sie es noch einmal.</translation>
    </message>
    <message>
        <source>Murlo needs about %1 GB free so everything can run on your Mac, offline. Free up some space and try again.</source>
        <translation>Murlo braucht etwa %1 GB freien Platz, damit alles auf Ihrem Computer laufen kann, ohne Internet. Schaffen Sie Platz und versuchen Sie es noch einmal.</translation>
    </message>
    <message>
        <source>This file is not a speech model that Murlo can use.</source>
        <translation>Diese Datei ist kein Sprachmodell, das Murlo verwenden kann.</translation>
    </message>
    <message>
        <source>This file can't be read.</source>
        <translation>Diese Datei kann nicht gelesen werden.</translation>
    </message>
    <message>
        <source>Quit Murlo?</source>
        <translation>Murlo beenden?</translation>
    </message>
    <message>
        <source>Your double-tap shortcut stops working until you open Murlo again.</source>
        <translation>Ihr Kürzel zum doppelten Antippen geht dann nicht mehr, bis Sie Murlo wieder öffnen.</translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>Abbrechen</translation>
    </message>
    <message>
        <source>Quit</source>
        <translation>Beenden</translation>
    </message>
    <message>
        <source>Hide Murlo</source>
        <translation>Murlo ausblenden</translation>
    </message>
    <message>
        <source>Edit</source>
        <translation>Bearbeiten</translation>
    </message>
    <message>
        <source>Cut</source>
        <translation>Ausschneiden</translation>
    </message>
    <message>
        <source>Copy</source>
        <translation>Kopieren</translation>
    </message>
    <message>
        <source>Paste</source>
        <translation>Einfügen</translation>
    </message>
    <message>
        <source>Select All</source>
        <translation>Alles auswählen</translation>
    </message>
    <message>
        <source>Window</source>
        <translation>Fenster</translation>
    </message>
    <message>
        <source>Close</source>
        <translation>Schließen</translation>
    </message>
    <message>
        <source>Restart</source>
        <translation>Neu starten</translation>
    </message>
    <message>
        <source>Restart the speech engine</source>
        <translation>Die Spracherkennung neu starten</translation>
    </message>
    <message>
        <source>Recent dictations</source>
        <translation>Letzte Diktate</translation>
    </message>
    <message>
        <source>What you dictate appears here.</source>
        <translation>Was Sie diktieren, erscheint hier.</translation>
    </message>
    <message>
        <source>Double-tap the shortcut in any text box, speak, and double-tap again. Or hold the second tap while you speak.</source>
        <translation>Tippen Sie das Kürzel in einem beliebigen Textfeld doppelt an, sprechen Sie, und tippen Sie noch einmal doppelt. Oder halten Sie beim zweiten Mal gedrückt, während Sie sprechen.</translation>
    </message>
    <message>
        <source>The shortcut is off: nobody is signed in, or key presses cannot be seen on this desktop.</source>
        <translation>Das Kürzel ist ausgeschaltet: Niemand ist angemeldet, oder auf diesem Desktop sind keine Tastendrücke zu sehen.</translation>
    </message>
    <message>
        <source>Murlo lives down here.</source>
        <translation>Murlo wohnt hier unten.</translation>
    </message>
    <message>
        <source>Warming up the speech engine. One moment.</source>
        <translation>Die Spracherkennung läuft warm. Einen Augenblick.</translation>
    </message>
    <message>
        <source>Waiting for the shortcut to go live…</source>
        <translation>Warten, bis das Tastenkürzel wirkt …</translation>
    </message>
    <message>
        <source>None done yet</source>
        <translation>Noch keine erteilt</translation>
    </message>
    <message>
        <source>All three on</source>
        <translation>Alle drei erteilt</translation>
    </message>
    <message>
        <source>%1 of %2 done</source>
        <translation>%1 von %2 erteilt</translation>
    </message>
    <message>
        <source>Murlo</source>
        <translation>Murlo</translation>
    </message>
    <message>
        <source>Speak softly. Type everywhere.</source>
        <translation>Leise sprechen. Überall schreiben.</translation>
    </message>
    <message>
        <source>Runs entirely on your Mac. Nothing leaves it.</source>
        <translation>Läuft ganz auf Ihrem Computer. Nichts verlässt ihn.</translation>
    </message>
    <message>
        <source>Speech is recognised on your Mac.</source>
        <translation>Sprache wird auf Ihrem Computer erkannt.</translation>
    </message>
    <message>
        <source>Get Started</source>
        <translation>Los geht's</translation>
    </message>
    <message>
        <source>Your account syncs your settings across Macs and unlocks enhance mode. Dictation itself never leaves this Mac.</source>
        <translation>Ihr Konto gleicht Ihre Einstellungen zwischen Computern ab und schaltet das Verbessern frei. Das Diktat selbst verlässt diesen Computer nie.</translation>
    </message>
    <message>
        <source>Your account stays on this computer and unlocks enhance mode. Dictation itself never leaves it.</source>
        <translation>Ihr Konto bleibt auf diesem Computer und schaltet das Verbessern frei. Das Diktat selbst verlässt ihn nie.</translation>
    </message>
    <message>
        <source>Setting up Murlo</source>
        <translation>Murlo wird eingerichtet</translation>
    </message>
    <message>
        <source>Downloading the speech engine. This happens once.</source>
        <translation>Die Spracherkennung wird heruntergeladen. Das geschieht nur einmal.</translation>
    </message>
    <message>
        <source>After this, everything runs on your Mac, offline.</source>
        <translation>Danach läuft alles auf Ihrem Computer, ohne Netz.</translation>
    </message>
    <message>
        <source>Download progress</source>
        <translation>Fortschritt des Herunterladens</translation>
    </message>
    <message>
        <source>I have a model file…</source>
        <translation>Ich habe eine Modelldatei …</translation>
    </message>
    <message>
        <source>Three permissions and you're done</source>
        <translation>Drei Berechtigungen, dann sind Sie fertig</translation>
    </message>
    <message>
        <source>macOS requires these for any dictation app. Each one opens System Settings. Flip the switch for Murlo, then come back.</source>
        <translation>Jedes Diktierprogramm braucht diese drei. Was dieser Desktop von sich aus gewährt, ist schon erteilt; „Erteilen“ fragt nach dem Rest.</translation>
    </message>
    <message>
        <source>Microphone</source>
        <translation>Mikrofon</translation>
    </message>
    <message>
        <source>Hears what you say.</source>
        <translation>Hört, was Sie sagen.</translation>
    </message>
    <message>
        <source>Microphone access was turned down. Open System Settings and switch Murlo on.</source>
        <translation>Der Zugriff auf das Mikrofon wurde abgelehnt. Öffnen Sie die Einstellungen und schalten Sie Murlo ein.</translation>
    </message>
    <message>
        <source>Accessibility</source>
        <translation>Barrierefreiheit</translation>
    </message>
    <message>
        <source>Types the text into the box for you.</source>
        <translation>Findet die Textfelder, in die Ihre Worte kommen.</translation>
    </message>
    <message>
        <source>Murlo only uses this to put your words into the box. It never reads your screen.</source>
        <translation>Murlo benutzt das nur, um Ihre Worte in das Feld zu setzen. Es liest nie Ihren Bildschirm.</translation>
    </message>
    <message>
        <source>Input Monitoring</source>
        <translation>Tastenüberwachung</translation>
    </message>
    <message>
        <source>Notices the double-tap in any app.</source>
        <translation>Bemerkt den Doppeltipp in jedem Programm.</translation>
    </message>
    <message>
        <source>This is a Wayland session, which shows no program the keys of others. To use the double-tap, log out and choose a session on X11 (“Xorg”) when you log in.</source>
        <translation>Dies ist eine Wayland-Sitzung, in der kein Programm die Tasten anderer sieht. Melden Sie sich für den Doppeltipp ab und wählen Sie beim Anmelden eine Sitzung mit X11 („Xorg“).</translation>
    </message>
    <message>
        <source>This desktop shows no program the keys of others, so the double-tap can't be noticed.</source>
        <translation>Dieser Desktop zeigt keinem Programm die Tasten anderer; der Doppeltipp bleibt unbemerkt.</translation>
    </message>
    <message>
        <source>Grant</source>
        <translation>Erteilen</translation>
    </message>
    <message>
        <source>Grant %1</source>
        <translation>%1 erteilen</translation>
    </message>
    <message>
        <source>Not now</source>
        <translation>Jetzt nicht</translation>
    </message>
    <message>
        <source>Without it your words still go where you type, but no letters appear over text boxes.</source>
        <translation>Ohne sie kommen Ihre Worte trotzdem dorthin, wo Sie tippen, aber über Textfeldern erscheinen keine Buchstaben.</translation>
    </message>
    <message>
        <source>On</source>
        <translation>Ein</translation>
    </message>
    <message>
        <source>Off</source>
        <translation>Aus</translation>
    </message>
    <message>
        <source>Restart Murlo</source>
        <translation>Murlo neu starten</translation>
    </message>
    <message>
        <source>Step %1 of 3</source>
        <translation>Schritt %1 von 3</translation>
    </message>
    <message>
        <source>Your words appear here</source>
        <translation>Ihre Worte erscheinen hier</translation>
    </message>
    <message>
        <source>Click the box below</source>
        <translation>Klicken Sie in das Feld unten</translation>
    </message>
    <message>
        <source>Now double-tap **%1** and just talk</source>
        <translation>Tippen Sie jetzt zweimal auf **%1** und sprechen Sie einfach</translation>
    </message>
    <message>
        <source>Talking? Double-tap **%1** again to stop</source>
        <translation>Sie sprechen? Noch einmal zweimal auf **%1**, und es hört auf</translation>
    </message>
    <message>
        <source>One moment…</source>
        <translation>Einen Augenblick …</translation>
    </message>
    <message>
        <source>Nothing landed? Double-tap **%1** and try again</source>
        <translation>Nichts angekommen? Tippen Sie zweimal auf **%1** und versuchen Sie es noch einmal</translation>
    </message>
    <message>
        <source>Or hold the second tap and talk, then let go when you're done.</source>
        <translation>Oder halten Sie beim zweiten Tippen gedrückt, sprechen Sie, und lassen Sie am Ende los.</translation>
    </message>
    <message>
        <source>That's it. You're ready.</source>
        <translation>Das war's. Sie sind bereit.</translation>
    </message>
    <message>
        <source>Next</source>
        <translation>Weiter</translation>
    </message>
    <message>
        <source>Double-tap **%1**</source>
        <translation>Zweimal auf **%1**</translation>
    </message>
    <message>
        <source>Letters will pop up over every text box on screen. That's the point.</source>
        <translation>Über jedem Textfeld des Bildschirms erscheinen Buchstaben. Genau darum geht es.</translation>
    </message>
    <message>
        <source>Press the letter that appears here</source>
        <translation>Drücken Sie den Buchstaben, der hier erscheint</translation>
    </message>
    <message>
        <source>Press the letter shown on the box below</source>
        <translation>Drücken Sie den Buchstaben am Feld unten</translation>
    </message>
    <message>
        <source>That letter belonged to another app. Double-tap **%1** and look for the letter on this box.</source>
        <translation>Dieser Buchstabe gehörte zu einem anderen Programm. Tippen Sie zweimal auf **%1** und suchen Sie den Buchstaben an diesem Feld.</translation>
    </message>
    <message>
        <source>Talk, then double-tap to stop</source>
        <translation>Sprechen Sie, dann zweimal tippen</translation>
    </message>
    <message>
        <source>That's the whole trick.</source>
        <translation>Mehr ist nicht dabei.</translation>
    </message>
    <message>
        <source>Having trouble? Continue anyway</source>
        <translation>Es klappt nicht? Trotzdem weiter</translation>
    </message>
    <message>
        <source>You're ready</source>
        <translation>Sie sind bereit</translation>
    </message>
    <message>
        <source>Double-tap **%1** to talk into the box you're in.</source>
        <translation>Zweimal auf **%1**, um in das Feld zu sprechen, in dem Sie sind.</translation>
    </message>
    <message>
        <source>Double-tap **%1** to pick any box on screen.</source>
        <translation>Zweimal auf **%1**, um ein beliebiges Feld zu wählen.</translation>
    </message>
    <message>
        <source>Murlo starts with your Mac. Turn that off in settings any time.</source>
        <translation>Murlo startet mit Ihrem Computer. In den Einstellungen lässt sich das jederzeit ausschalten.</translation>
    </message>
    <message>
        <source>This desktop has no tray. To get to settings and history, open Murlo again.</source>
        <translation>Dieser Desktop hat keine Symbolleiste. Zu Einstellungen und Verlauf kommen Sie, indem Sie Murlo noch einmal öffnen.</translation>
    </message>
    <message>
        <source>Start Using Murlo</source>
        <translation>Murlo benutzen</translation>
    </message>
    <message>
        <source>Show me the basics again</source>
        <translation>Grundlagen noch einmal zeigen</translation>
    </message>
    <message>
        <source>Murlo Self-Test</source>
        <translation>Selbsttest von Murlo</translation>
    </message>
    <message>
        <source>Press Start, then say something for about three seconds. Murlo will show you exactly what it heard.</source>
        <translation>Drücken Sie „Starten“ und sagen Sie etwa drei Sekunden lang etwas. Murlo zeigt Ihnen genau, was es gehört hat.</translation>
    </message>
    <message>
        <source>Start</source>
        <translation>Starten</translation>
    </message>
    <message>
        <source>OK</source>
        <translation>OK</translation>
    </message>
    <message>
        <source>Input Monitoring — needed for the double-tap</source>
        <translation>Tastenüberwachung — nötig für den Doppeltipp</translation>
    </message>
    <message>
        <source>Accessibility — needed to paste into apps</source>
        <translation>Barrierefreiheit — nötig, um Textfelder zu finden</translation>
    </message>
    <message>
        <source>Engine not ready</source>
        <translation>Spracherkennung nicht bereit</translation>
    </message>
    <message>
        <source>Stopped.</source>
        <translation>Angehalten.</translation>
    </message>
    <message>
        <source>Still loading the speech model. Wait a moment and try again.</source>
        <translation>Das Sprachmodell wird noch geladen. Warten Sie einen Augenblick und versuchen Sie es noch einmal.</translation>
    </message>
    <message>
        <source>Microphone failed</source>
        <translation>Mikrofon ohne Erfolg</translation>
    </message>
    <message>
        <source>No audio captured</source>
        <translation>Kein Ton aufgenommen</translation>
    </message>
    <message>
        <source>The microphone produced no sound. Check System Settings → Sound → Input.</source>
        <translation>Vom Mikrofon kam kein Ton. Sehen Sie in den Einstellungen unter „Klang → Eingabe“ nach.</translation>
    </message>
    <message>
        <source>Transcription failed</source>
        <translation>Erkennung fehlgeschlagen</translation>
    </message>
    <message>
        <source>Everything works</source>
        <translation>Alles funktioniert</translation>
    </message>
    <message>
        <source>Heard: “%1”</source>
        <translation>Gehört: „%1“</translation>
    </message>
    <message>
        <source>Transcribed in %1 seconds.</source>
        <translation>In %1 Sekunden erkannt.</translation>
    </message>
    <message>
        <source>Heard nothing</source>
        <translation>Nichts gehört</translation>
    </message>
    <message>
        <source>Audio was captured (%1 KB) but no words were recognised. Try speaking louder or closer to the mic.</source>
        <translation>Es wurde Ton aufgenommen (%1 KB), aber kein Wort erkannt. Sprechen Sie lauter oder näher am Mikrofon.</translation>
    </message>
    <message>
        <source>Move Murlo to your Applications folder</source>
        <translation>Murlo in den Programmordner bewegen</translation>
    </message>
    <message>
        <source>Murlo is running from the disk image. macOS blocks keyboard permissions for apps opened this way, so the shortcuts cannot work.</source>
        <translation>Murlo läuft von einem Abbild. So geöffneten Programmen verwehrt das System die Tastatur; die Tastenkürzel können nicht wirken.</translation>
    </message>
    <message>
        <source>Move it to Applications and Murlo will reopen from there.</source>
        <translation>Bewegen Sie es zu den Programmen, und Murlo öffnet sich von dort.</translation>
    </message>
    <message>
        <source>Move to Applications</source>
        <translation>Zu den Programmen bewegen</translation>
    </message>
    <message>
        <source>Could not move Murlo</source>
        <translation>Murlo konnte nicht bewegt werden</translation>
    </message>
    <message>
        <source>Drag Murlo.app onto the Applications folder yourself, then open it from there.</source>
        <translation>Ziehen Sie Murlo.app selbst auf den Programmordner und öffnen Sie es dort.</translation>
    </message>
    <message>
        <source>Right ⌘</source>
        <translation>Rechte ⌘</translation>
    </message>
    <message>
        <source>Left ⌘</source>
        <translation>Linke ⌘</translation>
    </message>
    <message>
        <source>Right ⌥</source>
        <translation>Rechte ⌥</translation>
    </message>
    <message>
        <source>Left ⌥</source>
        <translation>Linke ⌥</translation>
    </message>
    <message>
        <source>Right ⇧</source>
        <translation>Rechte ⇧</translation>
    </message>
    <message>
        <source>Left ⇧</source>
        <translation>Linke ⇧</translation>
    </message>
    <message>
        <source>Right ⌃</source>
        <translation>Rechte ⌃</translation>
    </message>
    <message>
        <source>Fn / 🌐</source>
        <translation>Fn / 🌐</translation>
    </message>
    <message>
        <source>Sign-in was cancelled.</source>
        <translation>Die Anmeldung wurde abgebrochen.</translation>
    </message>
    <message>
        <source>%1 returned something unexpected. Try again.</source>
        <translation>%1 hat etwas Unerwartetes geantwortet. Versuchen Sie es noch einmal.</translation>
    </message>
    <message>
        <source>The sign-in page returned something unexpected. Try again.</source>
        <translation>Die Anmeldeseite hat etwas Unerwartetes geantwortet. Versuchen Sie es noch einmal.</translation>
    </message>
    <message>
        <source>Couldn&apos;t open the sign-in browser. Try again.</source>
        <translation>Der Browser für die Anmeldung ließ sich nicht öffnen. Versuchen Sie es noch einmal.</translation>
    </message>
    <message>
        <source>You&apos;ve been signed out because you signed in on another Mac.</source>
        <translation>Sie wurden abgemeldet, weil Sie sich auf einem anderen Computer angemeldet haben.</translation>
    </message>
    <message>
        <source>We couldn&apos;t finish setting up your account. Please sign in again.</source>
        <translation>Ihr Konto konnte nicht fertig eingerichtet werden. Bitte melden Sie sich noch einmal an.</translation>
    </message>
    <message>
        <source>Signed in as %1</source>
        <translation>Angemeldet als %1</translation>
    </message>
    <message>
        <source>Signed in</source>
        <translation>Angemeldet</translation>
    </message>
    <message>
        <source>Log Out</source>
        <translation>Abmelden</translation>
    </message>
    <message>
        <source>Continue with %1</source>
        <translation>Weiter mit %1</translation>
    </message>
    <message>
        <source>Continue</source>
        <translation>Weiter</translation>
    </message>
    <message>
        <source>The account stays on this computer.</source>
        <translation>Das Konto bleibt auf diesem Computer.</translation>
    </message>
    <message>
        <source>What you dictate is recognised on this computer. The account is on %1.</source>
        <translation>Was Sie diktieren, wird auf diesem Computer erkannt. Das Konto liegt auf %1.</translation>
    </message>
    <message>
        <source>Sign in to get started</source>
        <translation>Melden Sie sich an, um zu beginnen</translation>
    </message>
    <message>
        <source>Enhance</source>
        <translation>Verbessern</translation>
    </message>
    <message>
        <source>Turns a rambling thought into a clear, structured prompt, shaped for wherever you are typing it.</source>
        <translation>Macht aus einem Gedankenschwall einen klaren, gegliederten Text, passend dazu, wo Sie gerade schreiben.</translation>
    </message>
    <message>
        <source>Finish signing in in your browser</source>
        <translation>Melden Sie sich im Browser an</translation>
    </message>
    <message>
        <source>The page is open there. When you are done, it brings you back here.</source>
        <translation>Die Seite ist dort geöffnet. Danach führt sie Sie hierher zurück.</translation>
    </message>
    <message>
        <source>Open Again</source>
        <translation>Noch einmal öffnen</translation>
    </message>
    <message>
        <source>Copy Address</source>
        <translation>Adresse kopieren</translation>
    </message>
</context>
</TS>
