#pragma once

#include "windows/EngineRecord.h"

#include <QButtonGroup>
#include <QComboBox>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>
#include <QWidget>

namespace murlo {

/// What the window reads and does.
struct EngineWindowActions {
    std::function<EngineRecord()> record = [] { return EngineRecord(); };
    std::function<void(const QString& path)> choose;
    std::function<void(const ModelRow&)> act;
    std::function<void(const QString& key)> chooseDevice;
    std::function<void()> tryAgain;
};

/// The speech models, those that are there and those that can be had, with how long a sentence
/// takes with each on this computer, and the device that they run on. Main thread.
class EngineWindow : public QWidget {
    Q_OBJECT

public:
    explicit EngineWindow(EngineWindowActions actions);
    /// Takes up what has changed.
    void refresh();

private:
    [[nodiscard]] QWidget* makeRow(const ModelRow& model);

    EngineWindowActions m_actions;
    EngineRecord m_shown;
    QWidget* m_models;
    QButtonGroup m_choices;
    QLabel* m_news;
    QLabel* m_warning;
    QWidget* m_deviceRow;
    QComboBox* m_device;
    QWidget* m_troubleRow;
    QLabel* m_trouble;
};

} // namespace murlo
