// The level sliders on an offscreen window, and the conversions of their values to engine units.
#include "TestSupport.h"
#include "shell/LevelSlider.h"
#include "voices/VoiceParameters.h"

#include <QAccessible>
#include <QSignalSpy>
#include <QTest>

#include <limits>

using namespace tonaris;
using Kind = LevelSlider::Kind;

class TestLevelSlider : public QObject
{
    Q_OBJECT
    QWidget *w = nullptr;
    QList<LevelSlider *> sliders; // indexed by Kind
    QList<QPair<QAccessible::Event, QVariant>> events;

    LevelSlider *prepared(Kind kind, int value)
    {
        LevelSlider *s = sliders[int(kind)];
        s->setValue(value);
        s->setFocus();
        events.clear();
        return s;
    }

private slots:
    void initTestCase()
    {
        test::isolateEnvironment();
        installLevelSliderAccessibility();
        setLevelSliderEventHook([this](QAccessibleEvent *e) {
            const auto *v = e->type() == QAccessible::ValueChanged
                                ? static_cast<QAccessibleValueChangeEvent *>(e)
                                : nullptr;
            events.append({e->type(), v ? v->value() : QVariant()});
        });
        w = new QWidget;
        for (Kind k : {Kind::Volume, Kind::Speed, Kind::Pitch}) {
            sliders.append(new LevelSlider(k, w));
            sliders.last()->setGeometry(50 * int(k), 30, 36, 166);
        }
        w->resize(200, 220);
        w->show();
    }
    void cleanupTestCase()
    {
        delete w; // while the test stands: its closing raises events of its own
        w = nullptr;
        setLevelSliderEventHook({});
    }
    void init()
    {
        w->activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(w));
    }

    // Values to engine units, ties to even; centred ranges around an engine's default.
    void externalConversions()
    {
        const int Min = std::numeric_limits<int>::min(), Max = std::numeric_limits<int>::max();
        QCOMPARE(externalVolume(50, {0, 65535}), 32768);
        QCOMPARE(externalVolume(100, {100, 200}), 200);
        QCOMPARE(externalVolume(101, {Min, Max}), Max); // the full 32-bit range held at its limit
        QCOMPARE(externalSpeed(0, {50, 250}), 150);
        QCOMPARE(externalSpeed(-9, {0, 10}), 0); // 0.5 to 0
        QCOMPARE(externalPitch(-7, {0, 10}), 2); // 1.5 to 2
        QCOMPARE(externalPitch(10, {-300, -100}), -100);
        QCOMPARE(centredRange(0, 30, 100).maximum, 60);
        QCOMPARE(centredRange(0, 120, 100).maximum, 120); // present outside: an empty range
    }

    void geometry_data()
    {
        QTest::addColumn<Kind>("kind");
        QTest::addColumn<qreal>("travel");
        for (qreal travel : {150.0, 133.7, 7.0}) {
            QTest::addRow("volume over %g", travel) << Kind::Volume << travel;
            QTest::addRow("speed over %g", travel) << Kind::Speed << travel;
        }
    }
    void geometry()
    {
        QFETCH(Kind, kind);
        QFETCH(qreal, travel);
        const int lo = kind == Kind::Volume ? 0 : -10, hi = kind == Kind::Volume ? 100 : 10;
        for (int v = lo; v <= hi; ++v)
            QCOMPARE(LevelSlider::valueFromGeometry(
                         kind, LevelSlider::offsetFromValue(kind, v, travel), travel),
                     v);
        QCOMPARE(LevelSlider::offsetFromValue(kind, lo - 5, travel), travel);
        QCOMPARE(LevelSlider::valueFromGeometry(kind, -9, travel), hi);
        QCOMPARE(LevelSlider::valueFromGeometry(kind, travel + 9, travel), lo);
        QCOMPARE(LevelSlider::valueFromGeometry(kind, qQNaN(), travel), hi);
        QCOMPARE(LevelSlider::valueFromGeometry(Kind::Volume, 1, 200), 100); // 0.5 rounds to 0
        QCOMPARE(LevelSlider::valueFromGeometry(Kind::Pitch, 3, 40), 8);     // -8.5 to -8
    }
    void keys_data()
    {
        QTest::addColumn<Kind>("kind");
        QTest::addColumn<int>("start");
        QTest::addColumn<int>("key");
        QTest::addColumn<int>("expected");
        QTest::addColumn<QString>("caption"); // also what is offered for speech; "" none
        QTest::newRow("volume 98 up") << Kind::Volume << 98 << int(Qt::Key_Up) << 100 << "100%";
        QTest::newRow("volume 100 up: nothing")
            << Kind::Volume << 100 << int(Qt::Key_Up) << 100 << "";
        QTest::newRow("volume space") << Kind::Volume << 20 << int(Qt::Key_Space) << 50 << "50%";
        QTest::newRow("speed -10 down: nothing")
            << Kind::Speed << -10 << int(Qt::Key_Down) << -10 << "";
        QTest::newRow("pitch 0 down") << Kind::Pitch << 0 << int(Qt::Key_Down) << -1 << "-1";
        QTest::newRow("pitch left: nothing") << Kind::Pitch << 4 << int(Qt::Key_Left) << 4 << "";
    }
    void keys()
    {
        QFETCH(Kind, kind);
        QFETCH(int, start);
        QFETCH(int, key);
        QFETCH(QString, caption);
        LevelSlider *s = prepared(kind, start);
        const QString rest = s->restCaption();
        QSignalSpy edited(s, &LevelSlider::valueEdited),
            spoken(s, &LevelSlider::speakValueRequested);
        QTest::keyClick(s, Qt::Key(key));
        QTEST(s->value(), "expected");
        QCOMPARE(edited.size(), caption.isEmpty() ? 0 : 1);
        QCOMPARE(spoken.size(), caption.isEmpty() ? 0 : 1);
        if (!caption.isEmpty()) // the plain number is said, the "%" only shown
            QCOMPARE(spoken.first().first().toString(), QString(caption).remove(u'%'));
        QCOMPARE(s->caption(), caption.isEmpty() ? rest : caption);
        QTest::keyClick(s, Qt::Key_Tab); // leaving brings the rest caption back
        QVERIFY(!s->hasFocus());
        QCOMPARE(s->caption(), rest);
    }

    void doubleClickAndDrag_data()
    {
        QTest::addColumn<Kind>("kind");
        QTest::addColumn<int>("start");
        QTest::addColumn<int>("dy"); // 0: a double-click
        QTest::addColumn<int>("expected");
        QTest::newRow("volume double-click") << Kind::Volume << 85 << 0 << 50;
        QTest::newRow("volume dragged past the top") << Kind::Volume << 40 << -500 << 100;
        QTest::newRow("speed dragged 3 steps up") << Kind::Speed << 0 << -21 << 3; // 7.2 px a step
        QTest::newRow("pitch dragged past the bottom") << Kind::Pitch << 9 << 900 << -10;
    }
    void doubleClickAndDrag()
    {
        QFETCH(Kind, kind);
        QFETCH(int, start);
        QFETCH(int, dy);
        QFETCH(int, expected);
        LevelSlider *s = prepared(kind, start);
        QSignalSpy edited(s, &LevelSlider::valueEdited),
            spoken(s, &LevelSlider::speakValueRequested);
        const QPoint grip = s->knobRect().center().toPoint();
        if (dy == 0) {
            QTest::mouseDClick(s, Qt::LeftButton, {}, grip);
        } else {
            QTest::mousePress(s, Qt::LeftButton, {}, grip);
            QVERIFY(s->isDragging());
            QTest::mouseMove(s, grip + QPoint(0, dy));
            QTRY_COMPARE(s->value(), expected); // by the timer, before the button is let go
            QTest::mouseRelease(s, Qt::LeftButton, {}, grip + QPoint(0, dy));
            QVERIFY(!s->isDragging());
            QVERIFY(s->knobRect().top() >= s->trackRect().top());
            QVERIFY(s->knobRect().bottom() <= s->trackRect().bottom());
        }
        QCOMPARE(s->value(), expected);
        QCOMPARE(edited.last(), QVariantList({expected, dy != 0}));
        QVERIFY(spoken.isEmpty());
        QCOMPARE(s->caption(), s->restCaption());
        QVERIFY(events.contains(qMakePair(QAccessible::ValueChanged, QVariant(expected))));
    }

    void accessibleInterface()
    {
        LevelSlider *s = prepared(Kind::Volume, 50);
        auto *a = QAccessible::queryAccessibleInterface(s);
        QVERIFY(a && a->valueInterface());
        QCOMPARE(a->role(), QAccessible::Slider);
        QCOMPARE(a->text(QAccessible::Name), QStringLiteral("Volume"));
        QCOMPARE(a->valueInterface()->minimumStepSize().toInt(), 5);
        QSignalSpy changed(s, &LevelSlider::valueChanged), edited(s, &LevelSlider::valueEdited);
        a->valueInterface()->setCurrentValue(170); // held at the top
        QCOMPARE(s->value(), 100);
        QCOMPARE(edited.size(), 1);
        s->setValue(30); // by the program: applied, not stored in the voice
        QCOMPARE(changed.size(), 2);
        QCOMPARE(edited.size(), 1);
        QCOMPARE(events.last(), qMakePair(QAccessible::ValueChanged, QVariant(30)));
        QTest::keyClick(s, Qt::Key_Up);
        QVERIFY(events.contains(qMakePair(QAccessible::NameChanged, QVariant())));
        QCOMPARE(a->text(QAccessible::Name), QStringLiteral("35%"));
    }
};

TONARIS_TEST_MAIN(TestLevelSlider)
#include "tst_levelslider.moc"
