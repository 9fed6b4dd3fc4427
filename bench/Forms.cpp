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
    quint32 number = 0;
    const xcb_atom_t list = x.atom(QStringLiteral("_NET_CLIENT_LIST"));
    for (const quint32 window : x.property(x.root(), list, XCB_ATOM_WINDOW).numbers()) {
        const std::array<quint32, 2> place{number % 4 * 315, number / 4 * 440};
        xcb_configure_window(x, window, XCB_CONFIG_WINDOW_X | XCB_CONFIG_WINDOW_Y, place.data());
        ++number;
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
