#include "Forms.h"

#include "Figures.h"

#include <QApplication>
#include <QGridLayout>
#include <QLabel>
#include <QLineEdit>
#include <QScrollArea>

#include <array>
#include <xcb/xcb.h>

namespace murlo {

namespace {

constexpr int cellsPerRow = 2;

} // namespace

Form::Form(int nodes) {
    constexpr int others = 25; // what is around the list
    QStringList cells;
    for (int i = 0; i < (nodes - others) / cellsPerRow * cellsPerRow; ++i)
        cells.append(QString::number(i, 36));
    m_process.start(QStringLiteral("zenity"),
                    {QStringLiteral("--forms"), QStringLiteral("--text=Form"),
                     QStringLiteral("--add-entry=One"), QStringLiteral("--add-entry=Two"),
                     QStringLiteral("--add-list=List"),
                     QStringLiteral("--list-values=") + cells.join(QLatin1Char('|')),
                     QStringLiteral("--column-values=A|B"), QStringLiteral("--width=280"),
                     QStringLiteral("--height=380")});
}

Form::~Form() {
    m_process.kill();
    m_process.waitForFinished();
}

QtForm::QtForm(int labels) {
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("QT_LINUX_ACCESSIBILITY_ALWAYS_ON"), QStringLiteral("1"));
    m_process.setProcessEnvironment(environment);
    m_process.start(QCoreApplication::applicationFilePath(),
                    {QStringLiteral("--form"), QString::number(labels)});
}

QtForm::~QtForm() {
    m_process.kill();
    m_process.waitForFinished();
}

void tile(const XcbConnection& x) {
    const auto atom = x.reply(xcb_intern_atom_reply, xcb_intern_atom(x, 1, 16, "_NET_CLIENT_LIST"));
    if (!atom) return;
    const auto list = x.reply(xcb_get_property_reply, xcb_get_property(x, 0, x.root(), atom->atom,
                                                                       XCB_ATOM_WINDOW, 0, 100));
    if (!list) return;
    const auto* windows = static_cast<const xcb_window_t*>(xcb_get_property_value(list.get()));
    const int count = xcb_get_property_value_length(list.get()) / int(sizeof(xcb_window_t));
    for (int i = 0; i < count; ++i) {
        const std::array<quint32, 2> place{quint32(i % 4 * 315), quint32(i / 4 * 440)};
        xcb_configure_window(x, windows[i], XCB_CONFIG_WINDOW_X | XCB_CONFIG_WINDOW_Y,
                             place.data());
    }
    xcb_flush(x);
}

int showForm(int labels) {
    QWidget window;
    auto* const rows = new QVBoxLayout(&window);
    for (int i = 0; i < 2; ++i) rows->addWidget(new QLineEdit);
    auto* const inside = new QWidget;
    auto* const grid = new QGridLayout(inside);
    grid->setSpacing(0);
    for (int i = 0; i < labels; ++i)
        grid->addWidget(new QLabel(QString::number(i, 36)), i / 40, i % 40);
    auto* const area = new QScrollArea;
    area->setWidget(inside);
    rows->addWidget(area);
    window.resize(900, 600);
    window.show();
    return QApplication::exec();
}

} // namespace murlo
