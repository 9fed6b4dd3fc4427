#include "look/Controls.h"

#include "look/BrandMark.h"
#include "look/Look.h"

#include <QHBoxLayout>

namespace murlo::Controls {

namespace {

struct Type {
    int size;
    QFont::Weight weight;
    QColor color;
};

Type typeOf(TextKind kind) {
    switch (kind) {
    case TextKind::title:
        return {Look::title, QFont::DemiBold, Look::windowText};
    case TextKind::heading:
        return {Look::body, QFont::DemiBold, Look::windowText};
    case TextKind::dim:
        return {Look::body, QFont::Normal, Look::windowDim};
    case TextKind::caption:
        return {Look::caption, QFont::Normal, Look::windowDim};
    case TextKind::body:
        break;
    }
    return {Look::body, QFont::Normal, Look::windowText};
}

/// The focus is a wider border; the padding makes up for it, so that nothing moves.
QString styleSheet() {
    return QStringLiteral(
               "QPushButton { background: white; color: %1; border: 1px solid #c9c9d0;"
               " border-radius: 7px; padding: 6px 14px; }"
               "QPushButton:hover { background: #f2f2f5; }"
               "QPushButton:pressed { background: #e4e4ea; }"
               "QPushButton:disabled { color: #8a8a92; background: #f6f6f8; }"
               "QPushButton:focus { border: 2px solid %2; padding: 5px 13px; }"
               "QPushButton[main=\"true\"] { background: %2; color: white; border-color: %2;"
               " padding: 9px 14px; font-weight: 600; }"
               "QPushButton[main=\"true\"]:hover { background: #0859d2; }"
               "QPushButton[main=\"true\"]:pressed { background: #064cb5; }"
               "QPushButton[main=\"true\"]:focus { border: 2px solid #063a8a; padding: 8px 13px; }"
               "QCheckBox { color: %1; spacing: 8px; padding: 2px; border: 1px solid transparent; }"
               "QCheckBox:focus { border: 1px solid %2; border-radius: 5px; }"
               "QListWidget { background: white; color: %1; border: 1px solid #d6d6dc;"
               " border-radius: 9px; padding: 4px; outline: none; }"
               "QListWidget:focus { border: 2px solid %2; padding: 3px; }"
               "QListWidget::item { padding: 7px 8px; border-radius: 6px; }"
               "QListWidget::item:selected { background: %2; color: white; }")
        .arg(Look::windowText.name(), Look::accent.name());
}

} // namespace

QLabel* text(TextKind kind, const QString& words) {
    auto* label = new QLabel(words);
    const Type type = typeOf(kind);
    label->setFont(Look::font(type.size, type.weight));
    QPalette palette = label->palette();
    palette.setColor(QPalette::WindowText, type.color);
    label->setPalette(palette);
    label->setWordWrap(kind != TextKind::caption);
    return label;
}

QPushButton* button(const QString& word, const QString& spoken) {
    auto* button = new QPushButton(word);
    if (!spoken.isEmpty()) button->setAccessibleName(spoken);
    return button;
}

QPushButton* mainButton() {
    auto* main = button();
    main->setProperty("main", true);
    return main;
}

QListWidget* list(const QString& spoken, QLabel* placeholder) {
    auto* list = new QListWidget;
    list->setAccessibleName(spoken);
    list->setWordWrap(true);
    list->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    list->setVerticalScrollMode(QAbstractItemView::ScrollPerPixel);
    placeholder->setAlignment(Qt::AlignCenter);
    auto* inside = new QVBoxLayout(list);
    inside->addWidget(placeholder);
    return list;
}

QHBoxLayout* row(std::initializer_list<QWidget*> widgets, int grows) {
    auto* row = new QHBoxLayout;
    for (QWidget* widget : widgets) {
        if (widget)
            row->addWidget(widget);
        else
            row->addStretch();
    }
    row->setStretch(grows, 1);
    return row;
}

void dress(QWidget& window) {
    window.setWindowIcon(brandIcon(Look::accent));
    QPalette light = window.palette();
    light.setColor(QPalette::Window, Look::window);
    light.setColor(QPalette::WindowText, Look::windowText);
    window.setPalette(light);
    window.setFont(Look::font(Look::body));
    window.setStyleSheet(styleSheet());
}

} // namespace murlo::Controls
