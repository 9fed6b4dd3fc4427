#include "windows/QuitQuestion.h"

#include "look/BrandMark.h"
#include "look/Look.h"
#include "look/Words.h"

#include <QLabel>
#include <QPushButton>

namespace murlo {

namespace {
constexpr int textWidth = 300;
}

std::unique_ptr<QMessageBox> QuitQuestion::makeBox() {
    auto box = std::make_unique<QMessageBox>();
    box->setWindowTitle(QStringLiteral("Murlo"));
    box->setWindowIcon(brandIcon(Look::accent));
    box->setWindowFlag(Qt::WindowStaysOnTopHint);
    box->setIconPixmap(brandIcon(Look::accent).pixmap(48));
    box->setText(Words::shown(Word::quitQuestion));
    box->setInformativeText(Words::shown(Word::quitMeans));
    const auto labels = box->findChildren<QLabel*>();
    for (QLabel* label : labels) {
        if (label->text() == box->text()) label->setFont(Look::font(Look::words, QFont::DemiBold));
        if (label->text() == box->informativeText()) label->setMinimumWidth(textWidth);
    }
    // Roles decide where a desktop puts its buttons; the first and default one is the harmless one.
    auto* cancel = box->addButton(Words::shown(Word::cancel), QMessageBox::RejectRole);
    box->addButton(Words::shown(Word::quit), QMessageBox::AcceptRole);
    box->setDefaultButton(cancel);
    box->setEscapeButton(cancel);
    return box;
}

void QuitQuestion::ask(std::function<void()> quit) {
    if (!m_box) {
        m_box = makeBox();
        // However it is closed: by a button, a key, or the window manager.
        QObject::connect(
            m_box.get(), &QDialog::finished, m_box.get(), [this, quit = std::move(quit)] {
                auto* const answer = m_box->clickedButton();
                const bool yes = answer && m_box->buttonRole(answer) == QMessageBox::AcceptRole;
                m_box.release()->deleteLater(); // it is still emitting `finished`
                if (yes) quit();
            });
        m_box->open();
    }
    m_box->raise();
    m_box->activateWindow();
}

} // namespace murlo
