#include "windows/SignInNote.h"

#include "look/Controls.h"
#include "look/Look.h"
#include "look/Words.h"

#include <QCloseEvent>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QScreen>
#include <QVBoxLayout>

namespace murlo {

namespace {
constexpr int noteWidth = 400; // points
constexpr int distance = 24;   // points from the screen's edges
} // namespace

SignInNote::SignInNote(SignInNoteActions actions)
    : QWidget(nullptr, Qt::Window | Qt::WindowStaysOnTopHint | Qt::WindowTitleHint |
                           Qt::WindowCloseButtonHint | Qt::CustomizeWindowHint)
    , m_actions(std::move(actions)) {
    setWindowTitle(QStringLiteral("Murlo"));
    setAttribute(Qt::WA_ShowWithoutActivating);
    Controls::dress(*this);
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(20, 18, 20, 18);
    column->setSpacing(8);
    column->addWidget(
        Controls::text(Controls::TextKind::heading, Words::shown(Word::finishInBrowser)));
    column->addWidget(Controls::text(Controls::TextKind::dim, Words::shown(Word::browserWaits)));
    column->addSpacing(6);
    auto* again = Controls::button(Words::shown(Word::openAgain));
    auto* copy = Controls::button(Words::shown(Word::copyAddress));
    auto* cancel = Controls::button(Words::shown(Word::cancel));
    column->addLayout(Controls::row({again, copy, nullptr, cancel}, 2));
    connect(again, &QPushButton::clicked, this, [this] { m_actions.openAgain(); });
    connect(copy, &QPushButton::clicked, this, [this] { m_actions.copyAddress(); });
    connect(cancel, &QPushButton::clicked, this, [this] { close(); });
    setMinimumWidth(noteWidth);
}

void SignInNote::showInCorner() {
    adjustSize();
    const QScreen* screen = QGuiApplication::screenAt(QCursor::pos());
    if (!screen) screen = QGuiApplication::primaryScreen();
    const QRect room =
        screen->availableGeometry().adjusted(distance, distance, -distance, -distance);
    move(room.right() - frameGeometry().width(), room.bottom() - frameGeometry().height());
    show();
}

void SignInNote::closeEvent(QCloseEvent* event) {
    QWidget::closeEvent(event);
    m_actions.cancel();
}

void SignInNote::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Escape)
        close();
    else
        QWidget::keyPressEvent(event);
}

} // namespace murlo
