#include "MurloKit/Motion.h"

#include <QTest>

#include <cmath>
#include <numbers>

using namespace murlo;

class MotionTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void aSpringFollowsItsEquationHoweverTimeIsCut() {
        for (const double damping : {1.0, 0.9}) {
            constexpr double response = 0.38;
            const Motion spring{Motion::spring, response, damping};
            Animated coarse;
            Animated fine;
            // Integrated by small steps, and turned round on the way: the velocity stays.
            const double stiffness = std::pow(2 * std::numbers::pi / response, 2);
            const double friction = 4 * std::numbers::pi * damping / response;
            double x = 0;
            double v = 0;
            for (const double target : {24.0, 10.0}) {
                coarse.moveTo(target, spring);
                fine.moveTo(target, spring);
                coarse.advance(0.1);
                for (int i = 0; i < 7; ++i) fine.advance(0.1 / 7);
                for (int i = 0; i < 100000; ++i) {
                    v += (-stiffness * (x - target) - friction * v) * 1e-6;
                    x += v * 1e-6;
                }
                QVERIFY(std::abs(coarse.value() - x) < 0.01);
                QVERIFY(std::abs(fine.value() - coarse.value()) < 1e-9);
                QVERIFY(std::abs(coarse.velocity() - v) < 0.1);
            }
            for (int i = 0; i < 300; ++i) coarse.advance(1.0 / 60);
            QVERIFY(coarse.isSettled());
            QCOMPARE(coarse.value(), 10.0);
        }
    }

    void aTimedMotionIsThereInTime() {
        Animated value(1);
        value.moveTo(0, {Motion::easeOut, 0.15, 1});
        value.advance(0.075);
        QVERIFY(value.value() < 0.5 && value.value() > 0); // the faster half comes first
        value.moveTo(0, {Motion::easeOut, 0.15, 1});       // wanted already: it does not start anew
        value.advance(0.076);
        QVERIFY(value.isSettled());
        QCOMPARE(value.value(), 0.0);
        value.moveTo(3, {Motion::linear, 0, 1});
        QVERIFY(value.isSettled() && value.value() == 3);
    }
};

QTEST_APPLESS_MAIN(MotionTest)
#include "MotionTest.moc"
