#include "windows/AccountRow.h"

#include "look/Controls.h"
#include "look/Look.h"
#include "look/Words.h"

#include <QVBoxLayout>

namespace murlo {

AccountRow::AccountRow(AccountRowActions actions)
    : m_actions(std::move(actions))
    , m_status(Controls::text(Controls::TextKind::body))
    , m_detail(Controls::text(Controls::TextKind::dim))
    , m_button(Controls::button())
    , m_enhance(new QCheckBox(Words::shown(Word::enhance)))
    , m_enhanceMeans(Controls::text(Controls::TextKind::dim, Words::shown(Word::enhanceMeans))) {
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(6);
    column->addLayout(Controls::row({m_status, m_button}, 0));
    column->addWidget(m_detail);
    column->addWidget(m_enhance);
    column->addWidget(m_enhanceMeans);
    m_enhance->setAccessibleDescription(m_enhanceMeans->text());
    connect(m_button, &QPushButton::clicked, this, [this] { m_actions.press(); });
    connect(m_enhance, &QCheckBox::clicked, this, [this](bool on) { m_actions.setEnhance(on); });
    refresh();
}

void AccountRow::refresh() {
    const AccountRecord record = m_actions.record();
    m_status->setText(record.status);
    m_detail->setText(record.detail);
    QPalette palette = m_detail->palette();
    palette.setColor(QPalette::WindowText, record.isTrouble ? Look::windowAlert : Look::windowDim);
    m_detail->setPalette(palette);
    m_button->setText(record.button);
    m_button->setEnabled(record.buttonWorks);
    m_enhance->setChecked(record.enhance);
    m_enhance->setVisible(record.offersEnhance);
    m_enhanceMeans->setVisible(record.offersEnhance);
}

} // namespace murlo
