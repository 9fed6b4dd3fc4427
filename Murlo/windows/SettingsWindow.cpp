#include "windows/SettingsWindow.h"

#include "look/BrandMark.h"
#include "look/Controls.h"
#include "look/Look.h"
#include "look/Words.h"

#include <QApplication>
#include <QKeyEvent>
#include <QMenuBar>
#include <QVBoxLayout>

namespace murlo {

namespace {

/// Sends an editing command to whoever has the keyboard, as its key would.
void sendKey(QKeySequence::StandardKey key) {
    QWidget* focus = QApplication::focusWidget();
    if (!focus) return;
    const QKeyCombination keys = QKeySequence(key)[0];
    QKeyEvent press(QEvent::KeyPress, keys.key(), keys.keyboardModifiers());
    QApplication::sendEvent(focus, &press);
}

} // namespace

SettingsWindow::SettingsWindow(SettingsWindowActions actions)
    : m_actions(std::move(actions)) {
    setWindowTitle(QStringLiteral("Murlo"));
    Controls::dress(*this);
    installMainMenu();
    setCentralWidget(makeContent());
    refresh();
    resize(460, 620);
}

void SettingsWindow::installMainMenu() {
    QMenu* murlo = menuBar()->addMenu(QStringLiteral("Murlo"));
    const auto add = [this](QMenu* menu, const QString& title, const QKeySequence& key,
                            const std::function<void()>& work) {
        QAction* action = menu->addAction(title);
        action->setShortcut(key);
        connect(action, &QAction::triggered, this, work);
    };
    add(murlo, Words::shown(Word::openMurlo), QKeySequence(QStringLiteral("Ctrl+,")),
        [this] { performCommand(MenuCommand::openSettings); });
    murlo->addSeparator();
    add(murlo, Words::shown(Word::hideMurlo), QKeySequence(QStringLiteral("Ctrl+H")),
        [this] { showMinimized(); });
    add(murlo, Words::shown(Word::quitMurlo), QKeySequence(QStringLiteral("Ctrl+Q")),
        [this] { performCommand(MenuCommand::quit); });
    QMenu* edit = menuBar()->addMenu(Words::shown(Word::edit));
    for (const auto& [title, key] :
         {std::pair(Word::cut, QKeySequence::Cut), std::pair(Word::copy, QKeySequence::Copy),
          std::pair(Word::paste, QKeySequence::Paste),
          std::pair(Word::selectAll, QKeySequence::SelectAll)}) {
        add(edit, Words::shown(title), QKeySequence(key), [this, key = key] {
            if (key == QKeySequence::Copy && m_recent->hasFocus())
                copySelected();
            else
                sendKey(key);
        });
    }
    QMenu* window = menuBar()->addMenu(Words::shown(Word::window));
    add(window, Words::shown(Word::close), QKeySequence(QStringLiteral("Ctrl+W")),
        [this] { close(); });
}

QWidget* SettingsWindow::makeContent() {
    using Controls::TextKind;
    auto* content = new QWidget;
    auto* column = new QVBoxLayout(content);
    column->setContentsMargins(24, 20, 24, 20);
    column->setSpacing(12);

    auto* mark = new QLabel;
    mark->setPixmap(brandIcon(Look::accent).pixmap(QSize(32, 32), devicePixelRatioF()));
    column->addLayout(
        Controls::row({mark, Controls::text(TextKind::title, QStringLiteral("Murlo"))}, 1));
    m_hint = Controls::text(TextKind::dim);
    column->addWidget(m_hint);
    m_toggle = Controls::mainButton();
    onClick(m_toggle, [this] { performCommand(MenuCommand::toggleDictation); });
    column->addWidget(m_toggle);

    m_engine = Controls::text(TextKind::body);
    auto* restart =
        Controls::button(Words::shown(Word::restart), Words::shown(Word::restartEngine));
    onClick(restart, [this] { performCommand(MenuCommand::restartEngine); });
    auto* models = Controls::button(Words::shown(Word::speechModelMore));
    onClick(models, [this] { m_actions.showModels(); });
    column->addLayout(Controls::row({m_engine, models, restart}, 0));

    column->addSpacing(4);
    m_account = new AccountRow(m_actions.account);
    column->addWidget(m_account);

    column->addSpacing(4);
    column->addWidget(Controls::text(TextKind::heading, Words::shown(Word::recent)));
    m_nothing = Controls::text(TextKind::dim, Words::shown(Word::nothingYet));
    m_recent = Controls::list(Words::shown(Word::recentDictations), m_nothing);
    connect(m_recent, &QListWidget::itemActivated, this, [this] { copySelected(); });
    connect(m_recent, &QListWidget::currentRowChanged, this,
            [this](int row) { m_copy->setEnabled(row >= 0); });
    column->addWidget(m_recent, 1);

    m_copy = Controls::button(Words::shown(Word::copy));
    m_copy->setEnabled(false);
    onClick(m_copy, [this] { copySelected(); });
    auto* log = Controls::button(Words::shown(Word::openLog));
    onClick(log, [this] { m_actions.openLog(); });
    m_version = Controls::text(TextKind::caption);
    auto* quit = Controls::button(Words::shown(Word::quitMurlo));
    onClick(quit, [this] { performCommand(MenuCommand::quit); });
    column->addLayout(Controls::row({m_copy, log, nullptr, m_version, quit}, 2));
    return content;
}

void SettingsWindow::onClick(QPushButton* button, std::function<void()> work) {
    connect(button, &QPushButton::clicked, this, std::move(work));
}

std::optional<MenuEntry> SettingsWindow::entry(MenuCommand command) const {
    for (const MenuEntry& candidate : m_actions.entries()) {
        if (candidate.command == command && !candidate.isSeparator()) return candidate;
    }
    return std::nullopt;
}

void SettingsWindow::performCommand(MenuCommand command) {
    if (const auto found = entry(command)) m_actions.perform(*found);
}

void SettingsWindow::copySelected() {
    MenuEntry copy;
    copy.command = MenuCommand::copyHistory;
    copy.index = m_recent->currentRow();
    if (copy.index >= 0) m_actions.perform(copy);
}

void SettingsWindow::refresh() {
    const bool live = m_actions.hotkeysLive();
    m_hint->setText(Words::shown(live ? Word::howToDictate : Word::triggersOff));
    const QString toggle =
        entry(MenuCommand::toggleDictation).value_or(MenuEntry()).title.simplified();
    m_toggle->setText(toggle);
    m_engine->setText(entry(MenuCommand::restartEngine).value_or(MenuEntry()).title);
    m_account->refresh();
    m_version->setText(entry(MenuCommand::showVersion).value_or(MenuEntry()).title);
    const QStringList history = m_actions.history();
    QStringList shown;
    for (int i = 0; i < m_recent->count(); ++i) shown << m_recent->item(i)->text();
    m_nothing->setVisible(history.isEmpty());
    if (shown == history) return;
    m_recent->clear();
    m_recent->addItems(history);
}

void SettingsWindow::showEvent(QShowEvent* event) {
    QMainWindow::showEvent(event);
    m_actions.refreshFromSystem();
    refresh();
    m_toggle->setFocus();
}

void SettingsWindow::changeEvent(QEvent* event) {
    QMainWindow::changeEvent(event);
    if (event->type() == QEvent::ActivationChange && isActiveWindow())
        m_actions.refreshFromSystem();
}

void SettingsWindowController::showSettings() {
    if (!m_window) {
        m_window = new SettingsWindow(m_actions);
        m_window->setAttribute(Qt::WA_DeleteOnClose);
    }
    if (m_window->isMinimized()) m_window->showNormal();
    m_window->show();
    m_window->raise();
    m_window->activateWindow();
}

void SettingsWindowController::refresh() {
    if (m_window && m_window->isVisible()) m_window->refresh();
}

} // namespace murlo
