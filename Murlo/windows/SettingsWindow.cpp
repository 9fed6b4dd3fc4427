#include "windows/SettingsWindow.h"

#include "look/BrandMark.h"
#include "look/Look.h"
#include "look/Words.h"

#include <QApplication>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QMenuBar>
#include <QVBoxLayout>

namespace murlo {

namespace {

QLabel* text(const QString& words, const QFont& font, const QColor& color) {
    auto* label = new QLabel(words);
    label->setFont(font);
    QPalette palette = label->palette();
    palette.setColor(QPalette::WindowText, color);
    label->setPalette(palette);
    label->setWordWrap(true);
    return label;
}

/// Flat controls in the colours of `Look`, with a visible focus.
QString windowStyle() {
    return QStringLiteral(
               "QPushButton { background: white; color: %1; border: 1px solid #c9c9d0;"
               " border-radius: 7px; padding: 6px 14px; }"
               "QPushButton:hover { background: #f2f2f5; }"
               "QPushButton:pressed { background: #e4e4ea; }"
               "QPushButton:disabled { color: #8a8a92; background: #f6f6f8; }"
               "QPushButton:focus { border: 2px solid %2; padding: 5px 13px; }"
               "QPushButton#toggle { background: %2; color: white; border-color: %2;"
               " padding: 9px 14px; font-weight: 600; }"
               "QPushButton#toggle:hover { background: #0859d2; }"
               "QPushButton#toggle:pressed { background: #064cb5; }"
               "QPushButton#toggle:focus { border: 2px solid #063a8a; padding: 8px 13px; }"
               "QListWidget { background: white; color: %1; border: 1px solid #d6d6dc;"
               " border-radius: 9px; padding: 4px; outline: none; }"
               "QListWidget:focus { border: 2px solid %2; padding: 3px; }"
               "QListWidget::item { padding: 7px 8px; border-radius: 6px; }"
               "QListWidget::item:selected { background: %2; color: white; }")
        .arg(Look::windowText.name(), Look::accent.name());
}

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
    setWindowIcon(brandIcon(Look::accent));
    QPalette light = palette();
    light.setColor(QPalette::Window, Look::window);
    light.setColor(QPalette::WindowText, Look::windowText);
    setPalette(light);
    setFont(Look::font(Look::body));
    installMainMenu();
    setCentralWidget(makeContent());
    centralWidget()->setStyleSheet(windowStyle());
    refresh();
    resize(460, 520);
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
    auto* content = new QWidget;
    auto* column = new QVBoxLayout(content);
    column->setContentsMargins(24, 20, 24, 20);
    column->setSpacing(12);

    auto* head = new QHBoxLayout;
    auto* mark = new QLabel;
    mark->setPixmap(brandIcon(Look::accent).pixmap(QSize(32, 32), devicePixelRatioF()));
    head->addWidget(mark);
    head->addWidget(
        text(QStringLiteral("Murlo"), Look::font(Look::title, QFont::DemiBold), Look::windowText),
        1);
    column->addLayout(head);
    m_hint = text({}, Look::font(Look::body), Look::windowDim);
    column->addWidget(m_hint);
    m_toggle = new QPushButton;
    m_toggle->setObjectName(QStringLiteral("toggle"));
    connect(m_toggle, &QPushButton::clicked, this,
            [this] { performCommand(MenuCommand::toggleDictation); });
    column->addWidget(m_toggle);

    auto* engine = new QHBoxLayout;
    m_engine = text({}, Look::font(Look::body), Look::windowText);
    engine->addWidget(m_engine, 1);
    auto* restart = new QPushButton(Words::shown(Word::restart));
    restart->setAccessibleName(Words::shown(Word::restartEngine));
    connect(restart, &QPushButton::clicked, this,
            [this] { performCommand(MenuCommand::restartEngine); });
    engine->addWidget(restart);
    column->addLayout(engine);

    column->addSpacing(4);
    auto* recentTitle =
        text(Words::shown(Word::recent), Look::font(Look::body, QFont::DemiBold), Look::windowText);
    column->addWidget(recentTitle);
    m_recent = new QListWidget;
    m_recent->setAccessibleName(Words::shown(Word::recentDictations));
    m_recent->setWordWrap(true);
    m_recent->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    m_recent->setVerticalScrollMode(QAbstractItemView::ScrollPerPixel);
    connect(m_recent, &QListWidget::itemActivated, this, [this] { copySelected(); });
    connect(m_recent, &QListWidget::currentRowChanged, this,
            [this](int row) { m_copy->setEnabled(row >= 0); });
    column->addWidget(m_recent, 1);
    m_nothing = text(Words::shown(Word::nothingYet), Look::font(Look::body), Look::windowDim);
    m_nothing->setAlignment(Qt::AlignCenter);
    auto* inside = new QVBoxLayout(m_recent);
    inside->addWidget(m_nothing);

    auto* foot = new QHBoxLayout;
    m_copy = new QPushButton(Words::shown(Word::copy));
    m_copy->setEnabled(false);
    connect(m_copy, &QPushButton::clicked, this, [this] { copySelected(); });
    foot->addWidget(m_copy);
    auto* log = new QPushButton(Words::shown(Word::openLog));
    connect(log, &QPushButton::clicked, this, [this] { m_actions.openLog(); });
    foot->addWidget(log);
    foot->addStretch(1);
    m_version = text({}, Look::font(Look::caption), Look::windowDim);
    m_version->setWordWrap(false);
    foot->addWidget(m_version);
    auto* quit = new QPushButton(Words::shown(Word::quitMurlo));
    connect(quit, &QPushButton::clicked, this, [this] { performCommand(MenuCommand::quit); });
    foot->addWidget(quit);
    column->addLayout(foot);
    return content;
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
