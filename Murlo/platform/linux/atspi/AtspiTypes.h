#pragma once

#include <QDBusArgument>
#include <QHashFunctions>
#include <QRect>
#include <QString>
#include <QStringList>

#include <optional>

namespace murlo {

/// Where an accessible object lives: the owning program's unique name on the accessibility bus and
/// the object's path there.
struct AtspiReference {
    QString service;
    QString path;

    bool operator==(const AtspiReference&) const = default;
    /// True for "no object", which the protocol writes as an empty or special path.
    [[nodiscard]] bool isNull() const {
        return path.isEmpty() || path == QLatin1String("/org/a11y/atspi/null");
    }
};

inline size_t qHash(const AtspiReference& reference, size_t seed = 0) {
    return qHashMulti(seed, reference.service, reference.path);
}

QDBusArgument& operator<<(QDBusArgument& argument, const AtspiReference& reference);
const QDBusArgument& operator>>(const QDBusArgument& argument, AtspiReference& reference);

/// The roles told apart here, with their numbers in the AT-SPI protocol (AtspiRole).
enum class AtspiRole : quint32 {
    invalid = 0,
    alert = 2,
    checkBox = 7,
    checkMenuItem = 8,
    comboBox = 11,
    dateEditor = 12,
    dial = 15,
    dialog = 16,
    fileChooser = 19,
    filler = 20,
    frame = 23,
    htmlContainer = 25,
    icon = 26,
    image = 27,
    label = 29,
    layeredPane = 30,
    list = 31,
    listItem = 32,
    menu = 33,
    menuBar = 34,
    menuItem = 35,
    pageTab = 37,
    pageTabList = 38,
    panel = 39,
    passwordText = 40,
    popupMenu = 41,
    progressBar = 42,
    pushButton = 43,
    radioButton = 44,
    radioMenuItem = 45,
    rootPane = 46,
    scrollBar = 48,
    scrollPane = 49,
    slider = 51,
    spinButton = 52,
    splitPane = 53,
    statusBar = 54,
    table = 55,
    tableCell = 56,
    tearoffMenuItem = 59,
    terminal = 60,
    text = 61,
    toggleButton = 62,
    toolBar = 63,
    tree = 65,
    treeTable = 66,
    viewport = 68,
    window = 69,
    paragraph = 73,
    application = 75,
    autocomplete = 76,
    editbar = 77,
    entry = 79,
    documentFrame = 82,
    heading = 83,
    section = 85,
    form = 87,
    link = 88,
    tableRow = 90,
    treeItem = 91,
    documentSpreadsheet = 92,
    documentPresentation = 93,
    documentText = 94,
    documentWeb = 95,
    documentEmail = 96,
    comment = 97,
    listBox = 98,
    grouping = 99,
    levelBar = 103,
    blockQuote = 105,
    article = 109,
    landmark = 110,
    staticText = 116,
    pushButtonMenu = 129,
    toggleSwitch = 130,
};

/// The states read here, with their bit numbers in the AT-SPI protocol (AtspiStateType).
enum class AtspiState {
    active = 1,
    defunct = 6,
    editable = 7,
    enabled = 8,
    focusable = 11,
    focused = 12,
    multiLine = 17,
    sensitive = 24,
    showing = 25,
    visible = 30,
    managesDescendants = 31,
    readOnly = 43,
};

/// The states of one accessible object.
class AtspiStates {
public:
    AtspiStates() = default;
    AtspiStates(std::initializer_list<AtspiState> states) {
        for (const auto state : states) m_bits |= quint64(1) << int(state);
    }
    /// From the two 32-bit words of the protocol, low word first.
    AtspiStates(quint32 low, quint32 high)
        : m_bits(quint64(high) << 32 | low) {}

    [[nodiscard]] bool has(AtspiState state) const { return m_bits >> int(state) & 1; }
    /// As the protocol writes them, low word first.
    [[nodiscard]] QList<qint32> words() const {
        return {static_cast<qint32>(m_bits), static_cast<qint32>(m_bits >> 32)};
    }

private:
    quint64 m_bits = 0;
};

} // namespace murlo
