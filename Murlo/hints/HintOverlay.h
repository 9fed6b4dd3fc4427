#pragma once

#include "platform/Port.h"
#include "platform/Scheduler.h"
#include "platform/Surfaces.h"
#include "targets/InputTarget.h"

#include <QObject>
#include <QRect>
#include <QUuid>

#include <functional>
#include <memory>
#include <vector>

namespace murlo {

/// What the hint layers show. Main thread; observers are notified after a value has changed.
class HintOverlayModel : public QObject {
    Q_OBJECT

public:
    /// The letters typed so far, upper case.
    [[nodiscard]] const QString& typed() const { return m_typed; }
    /// Drives the layers' entry and exit.
    [[nodiscard]] bool isPresented() const { return m_presented; }
    void setTyped(const QString& typed);
    void setPresented(bool presented);

Q_SIGNALS:
    void changed();

private:
    QString m_typed;
    bool m_presented = false;
};

/// One label to draw.
struct HintBadge {
    QUuid id; ///< new for each showing
    QString hint;
    QRectF rect; ///< of its box, in points from the layer's top left, y growing downwards
};

/// The surface over one screen.
class HintLayer : public Port {};

using MakeHintLayer = std::function<std::unique_ptr<HintLayer>(HintOverlayModel&, const ScreenInfo&,
                                                               const QList<HintBadge>&)>;

/// The letters over every screen that has boxes. Main thread.
class HintOverlay {
public:
    /// `makeLayer` puts a layer over a screen; `screens` is asked at each showing.
    HintOverlay(Scheduler& scheduler, AskScreens screens, MakeHintLayer makeLayer);

    [[nodiscard]] HintOverlayModel& model() { return m_model; }
    [[nodiscard]] const HintOverlayModel& model() const { return m_model; }

    /// Shows the labels of these boxes, in place of those shown now.
    void show(const QList<InputTarget>& targets);
    void hide();

private:
    Scheduler& m_scheduler;
    AskScreens m_screens;
    MakeHintLayer m_makeLayer;
    HintOverlayModel m_model;
    std::vector<std::unique_ptr<HintLayer>> m_layers;
    ScheduledWork m_teardown;
    Lifetime m_lifetime;
};

/// The labels of one screen: those of the boxes that are at least partly on it.
[[nodiscard]] QList<HintBadge> badgesOf(const QList<InputTarget>& targets,
                                        const ScreenInfo& screen);

} // namespace murlo
