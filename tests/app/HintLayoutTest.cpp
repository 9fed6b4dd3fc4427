#include "hints/HintMotion.h"

#include <QtTest>

using namespace murlo;

namespace {

/// The frames of so many seconds, as a layer has them.
void pass(HintMotion& motion, const HintOverlayModel& model, bool reduced, double seconds) {
    for (int frame = 0; frame < std::lround(seconds * 60); ++frame) {
        motion.update(model, reduced);
        motion.advance(1.0 / 60);
    }
}

} // namespace

class HintLayoutTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void lettersOfTwoScreens_data() {
        QTest::addColumn<QRectF>("box");  // in device pixels
        QTest::addColumn<QRectF>("left"); // in the layer's points; none when empty
        QTest::addColumn<QRectF>("right");
        const auto row = [](const char* name, QRectF box, QRectF left, QRectF right) {
            QTest::newRow(name) << box << left << right;
        };
        row("left", {200, 100, 400, 60}, {200, 100, 400, 60}, {});
        row("right", {1480, 100, 400, 60}, {}, {100, 0, 200, 30});
        row("across", {1180, 400, 300, 60}, {1180, 400, 300, 60}, {-50, 150, 150, 30});
        row("up to the edge", {1080, 400, 200, 60}, {1080, 400, 200, 60}, {});
        row("above the right one", {1480, 20, 400, 60}, {}, {});
    }
    void lettersOfTwoScreens() {
        QFETCH(QRectF, box);
        const auto place = [&](const ScreenInfo& screen) {
            InputTarget target;
            target.frame = box;
            const auto badges = badgesOf({target}, screen);
            return badges.isEmpty() ? QRectF() : badges.first().rect;
        };
        QTEST(place({{0, 0, 1280, 800}, {}, {0, 0, 1280, 800}}), "left");
        QTEST(place({{1280, 100, 1280, 800}, {}, {1280, 100, 2560, 1600}}), "right");
    }

    void labelsSitOnTheCornerAndStayOnTheScreen() {
        constexpr double edge = 2; // points
        for (const QPointF corner :
             {QPointF(400, 300), QPointF(0, 300), QPointF(400, 3), QPointF(-50, -20)}) {
            const HintMotion motion({{{}, "AS", {corner, QSizeF(200, 30)}}});
            const QRectF label = motion.present().marks.front().label;
            const QPointF centred = corner - QRectF({}, label.size()).center();
            QVERIFY(std::abs(label.left() - std::max(centred.x(), edge)) <= 0.5);
            QVERIFY(std::abs(label.top() - std::max(centred.y(), edge)) <= 0.5);
        }
    }

    void motions_data() {
        QTest::addColumn<bool>("reduced");
        QTest::newRow("springs") << false;
        QTest::newRow("reduced motion") << true;
    }
    void comingAndGoing_data() { motions_data(); }
    void comingAndGoing() {
        QFETCH(bool, reduced);
        HintMotion motion({{{}, "A", {10, 10, 200, 30}}});
        HintOverlayModel model;
        for (const bool presented : {true, false}) {
            model.setPresented(presented);
            pass(motion, model, reduced, 0.08);
            const double half = motion.present().presented;
            QVERIFY(half > 0.05 && half < 0.95);
            pass(motion, model, reduced, 0.09);
            QCOMPARE(motion.isMoving(), !reduced);
            pass(motion, model, reduced, 0.33); // the layer goes after half a second
            QVERIFY(!motion.isMoving());
            QCOMPARE(motion.present().presented, presented ? 1.0 : 0.0);
            QCOMPARE(motion.present().wash > 0, presented);
        }
    }

    void lettersThatNoLongerMatchFade_data() { motions_data(); }
    void lettersThatNoLongerMatchFade() {
        QFETCH(bool, reduced);
        HintMotion motion({{{}, "AS", {10, 10, 200, 30}}, {{}, "F", {10, 60, 200, 30}}});
        HintOverlayModel model;
        const auto before = motion.present().marks;
        model.setTyped("A");
        pass(motion, model, reduced, 0.05);
        const double half = motion.present().marks[1].labelOpacity;
        QVERIFY(half > 0.4 && half < 0.95);
        pass(motion, model, reduced, 0.1);
        QCOMPARE(motion.isMoving(), !reduced);
        pass(motion, model, reduced, 0.35);
        const HintMark matching = motion.present().marks[0];
        const HintMark other = motion.present().marks[1];
        QCOMPARE(matching.typed + '|' + matching.rest, "A|S");
        QVERIFY(matching.matching == 1 && matching.labelOpacity == 1 && matching.labelScale == 1);
        QVERIFY(matching.opacity == 1 && matching.fill > 0 && matching.stroke > before[0].stroke);
        QCOMPARE(other.typed + '|' + other.rest, "|F");
        QVERIFY(other.matching == 0 && other.labelOpacity < 0.5 && other.labelScale < 1);
        QVERIFY(other.opacity < 0.1 && other.fill == 0 && other.stroke == before[1].stroke);
        model.setTyped({});
        pass(motion, model, reduced, 0.5);
        QVERIFY(motion.present().marks == before);
    }
};

QTEST_MAIN(HintLayoutTest)
#include "HintLayoutTest.moc"
