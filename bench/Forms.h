#pragma once

#include "platform/linux/x11/XcbConnection.h"

#include <QProcess>

namespace murlo {

/// A GTK dialog with two lines of text and a list: about `nodes` objects on the accessibility bus.
class Form {
public:
    explicit Form(int nodes);
    ~Form();
    Form(const Form&) = delete;
    Form& operator=(const Form&) = delete;

    [[nodiscard]] qint64 pid() const { return m_process.processId(); }

private:
    QProcess m_process;
};

/// A window of another toolkit with as much in it.
class QtForm {
public:
    explicit QtForm(int labels);
    ~QtForm();
    QtForm(const QtForm&) = delete;
    QtForm& operator=(const QtForm&) = delete;

    [[nodiscard]] qint64 pid() const { return m_process.processId(); }

private:
    QProcess m_process;
};

/// Puts the dialogs beside each other, in the order in which they came: none is behind another.
void tile(const XcbConnection& x);

} // namespace murlo
