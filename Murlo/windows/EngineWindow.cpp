#include "windows/EngineWindow.h"

#include "look/Controls.h"
#include "look/Look.h"
#include "look/Words.h"

#include <QFrame>
#include <QRadioButton>
#include <QScrollArea>

namespace murlo {

using Controls::TextKind;

namespace {

QWidget* rowOf(std::initializer_list<QWidget*> widgets, int grows) {
    auto* holder = new QWidget;
    auto* row = Controls::row(widgets, grows);
    row->setContentsMargins(0, 0, 0, 0);
    holder->setLayout(row);
    return holder;
}

} // namespace

EngineWindow::EngineWindow(EngineWindowActions actions)
    : m_actions(std::move(actions))
    , m_models(new QWidget)
    , m_news(Controls::text(TextKind::dim))
    , m_warning(Controls::text(TextKind::dim))
    , m_device(new QComboBox)
    , m_trouble(Controls::text(TextKind::dim)) {
    setWindowTitle(Words::shown(Word::speechModel));
    Controls::dress(*this);
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(24, 20, 24, 20);
    column->setSpacing(12);
    column->addWidget(Controls::text(TextKind::title, Words::shown(Word::speechModel)));

    auto* rows = new QVBoxLayout(m_models);
    rows->setContentsMargins(0, 0, 6, 0);
    rows->setSpacing(8);
    auto* scrolled = new QScrollArea;
    scrolled->setWidget(m_models);
    scrolled->setWidgetResizable(true);
    scrolled->setFrameShape(QFrame::NoFrame);
    scrolled->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    column->addWidget(scrolled, 1);
    column->addWidget(m_news);
    column->addWidget(m_warning);

    m_device->setAccessibleName(Words::shown(Word::runsOn));
    m_deviceRow =
        rowOf({Controls::text(TextKind::heading, Words::shown(Word::runsOn)), m_device}, 1);
    column->addWidget(m_deviceRow);
    auto* again = Controls::button(Words::shown(Word::tryAgain));
    m_troubleRow = rowOf({m_trouble, again}, 0);
    column->addWidget(m_troubleRow);

    QPalette palette = m_trouble->palette();
    palette.setColor(QPalette::WindowText, Look::windowAlert);
    m_trouble->setPalette(palette);
    m_warning->setPalette(palette);
    connect(again, &QPushButton::clicked, this, [this] { m_actions.tryAgain(); });
    connect(m_device, &QComboBox::activated, this,
            [this](int index) { m_actions.chooseDevice(m_shown.devices.value(index).key); });
    resize(470, 640);
    refresh();
}

QWidget* EngineWindow::makeRow(const ModelRow& model) {
    auto* choice = new QRadioButton(model.title);
    choice->setAccessibleDescription(model.detail);
    choice->setEnabled(!model.path.isEmpty());
    choice->setChecked(model.isCurrent);
    m_choices.addButton(choice);
    // Assistive technology may toggle it without a click.
    connect(choice, &QRadioButton::toggled, this, [this, model](bool on) {
        if (on) m_actions.choose(model.path);
    });
    auto* detail = Controls::text(TextKind::caption, model.detail);
    detail->setIndent(24);
    detail->setWordWrap(true);
    auto* texts = new QWidget;
    auto* column = new QVBoxLayout(texts);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(2);
    column->addWidget(choice);
    column->addWidget(detail);
    if (model.action == ModelRow::none) return texts;
    auto* button = Controls::button(model.button, model.spoken);
    connect(button, &QPushButton::clicked, this, [this, model] { m_actions.act(model); });
    return rowOf({texts, button}, 0);
}

void EngineWindow::refresh() {
    const EngineRecord record = m_actions.record();
    m_news->setText(record.news);
    m_news->setVisible(!record.news.isEmpty());
    m_warning->setText(record.warning);
    m_warning->setVisible(!record.warning.isEmpty());
    m_trouble->setText(record.trouble);
    m_troubleRow->setVisible(!record.trouble.isEmpty());
    m_deviceRow->setVisible(!record.devices.isEmpty());
    if (record.devices != m_shown.devices) {
        m_device->clear();
        for (const DeviceRow& device : record.devices) m_device->addItem(device.title);
    }
    m_device->setCurrentIndex(static_cast<int>(record.device));
    const bool isFirst = m_models->layout()->isEmpty();
    if (isFirst || record.models != m_shown.models) {
        // The keyboard's place stays: the row of the same number has it again.
        const int focused =
            m_choices.buttons().indexOf(qobject_cast<QAbstractButton*>(focusWidget()));
        while (QLayoutItem* item = m_models->layout()->takeAt(0)) {
            if (QWidget* row = item->widget()) {
                for (QRadioButton* choice : row->findChildren<QRadioButton*>())
                    m_choices.removeButton(choice);
                row->hide();
                row->deleteLater(); // it may be the one whose button was pressed
            }
            delete item;
        }
        for (const ModelRow& model : record.models) m_models->layout()->addWidget(makeRow(model));
        static_cast<QVBoxLayout*>(m_models->layout())->addStretch();
        if (auto* again = m_choices.buttons().value(focused)) again->setFocus();
    }
    m_shown = record;
}

} // namespace murlo
