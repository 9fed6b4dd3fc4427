#pragma once

#include <QLabel>
#include <QListWidget>
#include <QPushButton>

#include <initializer_list>

class QHBoxLayout;

/// The controls of Murlo's own windows, in the colours of `Look`, flat and with a visible focus. A
/// control belongs to the widget that it is put into. Main thread, with a Qt Widgets application.
namespace murlo::Controls {

enum class TextKind { title, heading, body, dim, caption };

/// A text; all but captions wrap.
[[nodiscard]] QLabel* text(TextKind kind, const QString& words = {});
/// A button with a word on it. `spoken` is what assistive technology says instead, if anything.
[[nodiscard]] QPushButton* button(const QString& word = {}, const QString& spoken = {});
/// The one button of a window that does what the window is for.
[[nodiscard]] QPushButton* mainButton();
/// A list of texts that wrap, with a name for assistive technology. `placeholder` stands in its
/// middle; whoever fills the list hides it.
[[nodiscard]] QListWidget* list(const QString& spoken, QLabel* placeholder);
/// Widgets side by side; the one at the index `grows`, which may be null, takes the room that is
/// left.
[[nodiscard]] QHBoxLayout* row(std::initializer_list<QWidget*> widgets, int grows);

/// Gives a window the light theme that the controls are made for.
void dress(QWidget& window);

} // namespace murlo::Controls
