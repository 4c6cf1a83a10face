#include <kq/CoordinateSystem.h>

#include <QtTest>

#include <cmath>

Q_DECLARE_METATYPE(kq::SDeskewParams)

class TestCoordinateSystem : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void deskewDefaults();
    void deskewInequality_data();
    void deskewInequality();
    void deskewRollAndFactor_data();
    void deskewRollAndFactor();

    void letterbox_data();
    void letterbox();
    void screenRectFollowsEitherRectangle();
    void identityWithoutGeometry();
    void rectToScreen();
    void rectRoundTripScreenFirst_data();
    void rectRoundTripScreenFirst();
    void rectRoundTripApplicationFirst();
    void gridSnap();
    void aspectRatio_data();
    void aspectRatio();

    void lensModelInverse_data();
    void lensModelInverse();
    void lensModelMovesPoints();
    void polygonInverseWithinPixel_data();
    void polygonInverseWithinPixel();
    void polygonWithoutFlagsIsPlainMapping();
};

void TestCoordinateSystem::deskewDefaults()
{
    const kq::SDeskewParams p;
    QCOMPARE(p.view, 0);
    QCOMPARE(p.channel, -1);
    QCOMPARE(p.angles, QStringLiteral("0:270:0"));
    QCOMPARE(p.lensStrength, 0);
    QCOMPARE(p.mode, QStringLiteral("normal"));
    QCOMPARE(p.flags, 0u);
    QVERIFY(!p.hasLensCorrection());
    QVERIFY(!p.hasDeskew());
    QVERIFY(!(p != kq::SDeskewParams()));
    QVERIFY(p == kq::SDeskewParams());
}

void TestCoordinateSystem::deskewInequality_data()
{
    QTest::addColumn<kq::SDeskewParams>("changed");
    kq::SDeskewParams p;
    p.view = 1;
    QTest::newRow("view") << p;
    p = kq::SDeskewParams();
    p.channel = 0;
    QTest::newRow("channel") << p;
    p = kq::SDeskewParams();
    p.angles = QStringLiteral("0:270:1");
    QTest::newRow("angles") << p;
    p = kq::SDeskewParams();
    p.lensStrength = -1;
    QTest::newRow("lensStrength") << p;
    p = kq::SDeskewParams();
    p.mode = QStringLiteral("panorama");
    QTest::newRow("mode") << p;
    p = kq::SDeskewParams();
    p.flags = kq::SDeskewParams::LensCorrection;
    QTest::newRow("lens flag") << p;
    p = kq::SDeskewParams();
    p.flags = kq::SDeskewParams::Deskew;
    QTest::newRow("deskew flag") << p;
}

void TestCoordinateSystem::deskewInequality()
{
    QFETCH(kq::SDeskewParams, changed);
    QVERIFY(changed != kq::SDeskewParams());
    QVERIFY(kq::SDeskewParams() != changed);
    const kq::SDeskewParams copy = changed;
    QVERIFY(!(copy != changed));
    QCOMPARE(changed.hasLensCorrection(), bool(changed.flags & kq::SDeskewParams::LensCorrection));
}

void TestCoordinateSystem::deskewRollAndFactor_data()
{
    QTest::addColumn<QString>("angles");
    QTest::addColumn<int>("strength");
    QTest::addColumn<double>("roll");
    QTest::addColumn<double>("factor");
    QTest::newRow("defaults") << "0:270:0" << 0 << 0.0 << 0.0;
    QTest::newRow("roll 30") << "10:20:30" << -100 << 30.0 << -0.1;
    QTest::newRow("fractional roll") << "0:0:-12.5" << 500 << -12.5 << 0.5;
    QTest::newRow("two fields") << "10:20" << 0 << 0.0 << 0.0;
    QTest::newRow("not a number") << "0:0:x" << 0 << 0.0 << 0.0;
    QTest::newRow("empty") << "" << 0 << 0.0 << 0.0;
    QTest::newRow("barrel clamped") << "0:0:0" << -900 << 0.0 << -0.14;
    QTest::newRow("pincushion clamped") << "0:0:0" << 5000 << 0.0 << 1.0;
}

void TestCoordinateSystem::deskewRollAndFactor()
{
    QFETCH(QString, angles);
    QFETCH(int, strength);
    QFETCH(double, roll);
    QFETCH(double, factor);
    kq::SDeskewParams p;
    p.angles = angles;
    p.lensStrength = strength;
    QCOMPARE(p.roll(), roll);
    QCOMPARE(p.lensFactor(), factor);
}

void TestCoordinateSystem::letterbox_data()
{
    QTest::addColumn<QRectF>("application");
    QTest::addColumn<QRect>("view");
    QTest::addColumn<QRect>("expected");
    QTest::newRow("wide image, bars above and below")
        << QRectF(0, 0, 1920, 1080) << QRect(0, 0, 640, 480) << QRect(0, 60, 640, 360);
    QTest::newRow("square image, bars left and right")
        << QRectF(0, 0, 800, 800) << QRect(10, 20, 400, 200) << QRect(110, 20, 200, 200);
    QTest::newRow("exact fit") << QRectF(100, 100, 320, 240) << QRect(0, 0, 640, 480)
                               << QRect(0, 0, 640, 480);
    QTest::newRow("no image") << QRectF() << QRect(0, 0, 640, 480) << QRect(0, 0, 640, 480);
}

void TestCoordinateSystem::letterbox()
{
    QFETCH(QRectF, application);
    QFETCH(QRect, view);
    QFETCH(QRect, expected);
    kq::CoordinateSystem cs;
    cs.setApplicationRect(application);
    cs.setScreenRect(view);
    QCOMPARE(cs.viewRect(), view);
    QCOMPARE(cs.screenRect(), expected);
    QCOMPARE(kq::CoordinateSystem::letterboxPixels(application.size(), view), expected);
    if (!application.isEmpty()) {
        // The image's corners land on the letterboxed rectangle's corners.
        QCOMPARE(cs.mapToScreen(application.topLeft()), QPointF(expected.topLeft()));
        QCOMPARE(cs.mapToScreen(application.bottomRight()), QPointF(expected.bottomRight() + QPoint(1, 1)));
    }
}

// screenRect() is worked out when a rectangle is set: whichever is set
// last, and however often, it is the letterboxed image.
void TestCoordinateSystem::screenRectFollowsEitherRectangle()
{
    kq::CoordinateSystem cs;
    QCOMPARE(cs.screenRect(), QRect());
    cs.setScreenRect(QRect(0, 0, 640, 480));
    QCOMPARE(cs.screenRect(), QRect(0, 0, 640, 480)); // no image yet: the whole area
    cs.setApplicationRect(QRectF(0, 0, 1920, 1080));
    QCOMPARE(cs.screenRect(), QRect(0, 60, 640, 360));
    cs.setScreenRect(QRect(0, 0, 1000, 600));
    QCOMPARE(
        cs.screenRect(), kq::CoordinateSystem::letterboxPixels(QSizeF(1920, 1080), QRect(0, 0, 1000, 600)));
    cs.setApplicationRect(QRectF(0, 0, 800, 800));
    QCOMPARE(cs.screenRect(), QRect(200, 0, 600, 600));
    cs.setApplicationRect(QRectF());
    QCOMPARE(cs.screenRect(), QRect(0, 0, 1000, 600));
    cs.setScreenRect(QRect());
    QCOMPARE(cs.screenRect(), QRect());
}

void TestCoordinateSystem::identityWithoutGeometry()
{
    kq::CoordinateSystem cs;
    QCOMPARE(cs.mapToScreen(QRectF(10, 20, 99, 49)), QRect(10, 20, 100, 50));
    QCOMPARE(cs.mapToApplication(QRect(10, 20, 100, 50)), QRectF(10, 20, 99, 49));
    QCOMPARE(cs.mapToScreen(QPointF(3.4, -7.6)), QPointF(3.4, -7.6));
}

void TestCoordinateSystem::rectToScreen()
{
    kq::CoordinateSystem cs;
    cs.setApplicationRect(QRectF(0, 0, 1920, 1080));
    cs.setScreenRect(QRect(0, 0, 640, 480));
    // Scale 1/3, image at y 60.
    QCOMPARE(cs.mapToScreen(QRectF(300, 150, 600, 300)), QRect(QPoint(100, 110), QPoint(300, 210)));
    QCOMPARE(cs.mapToApplication(QRect(QPoint(100, 110), QPoint(300, 210))), QRectF(300, 150, 600, 300));
}

void TestCoordinateSystem::rectRoundTripScreenFirst_data()
{
    QTest::addColumn<QRectF>("application");
    QTest::addColumn<QRect>("view");
    QTest::newRow("scale 1/3") << QRectF(0, 0, 1920, 1080) << QRect(0, 0, 640, 480);
    QTest::newRow("scale 0.4 with offset") << QRectF(0, 0, 1600, 900) << QRect(7, 3, 640, 400);
    QTest::newRow("scale 0.78") << QRectF(0, 0, 1280, 720) << QRect(0, 0, 1000, 800);
}

void TestCoordinateSystem::rectRoundTripScreenFirst()
{
    // Images larger than the screen: snapping to whole image units moves an
    // edge by less than half a pixel, so screen -> image -> screen is exact.
    QFETCH(QRectF, application);
    QFETCH(QRect, view);
    kq::CoordinateSystem cs;
    cs.setApplicationRect(application);
    cs.setScreenRect(view);
    cs.setGridSnap(QRectF(0, 0, 1, 1));
    const QRect image = cs.screenRect();
    int checked = 0;
    for (int x = image.left(); x < image.right(); x += 13) {
        for (int y = image.top(); y < image.bottom(); y += 11) {
            const QRect r(QPoint(x, y),
                QPoint(qMin(image.right(), x + 37 + x % 50), qMin(image.bottom(), y + 5 + y % 70)));
            const QRectF a = cs.mapToApplication(r);
            QCOMPARE(a.x(), std::round(a.x()));
            QCOMPARE(cs.mapToScreen(a), r);
            ++checked;
        }
    }
    QVERIFY(checked > 500);
}

void TestCoordinateSystem::rectRoundTripApplicationFirst()
{
    kq::CoordinateSystem cs;
    cs.setApplicationRect(QRectF(0, 0, 1920, 1080));
    cs.setScreenRect(QRect(0, 0, 640, 480));
    // One screen pixel is 3 image units; rounding moves an edge by half of it.
    const double pixel = 3.0 + 1e-9;
    for (int i = 0; i < 400; ++i) {
        const QRectF a(i * 4.7, i * 2.3 + 1.1, 50 + i % 90, 20 + i % 40);
        const QRectF back = cs.mapToApplication(cs.mapToScreen(a));
        QVERIFY2(std::abs(back.left() - a.left()) <= pixel / 2 && std::abs(back.top() - a.top()) <= pixel / 2
                && std::abs(back.right() - a.right()) <= pixel / 2
                && std::abs(back.bottom() - a.bottom()) <= pixel / 2,
            qPrintable(QStringLiteral("row %1").arg(i)));
    }
}

void TestCoordinateSystem::gridSnap()
{
    kq::CoordinateSystem cs;
    cs.setApplicationRect(QRectF(0, 0, 1000, 1000));
    cs.setScreenRect(QRect(0, 0, 300, 300)); // scale 0.3
    const QRect r(QPoint(100, 10), QPoint(200, 20));
    // Without snapping the image coordinates are fractional.
    const QRectF raw = cs.mapToApplication(r);
    QVERIFY(std::abs(raw.left() - 333.333333) < 1e-3);
    QVERIFY(std::abs(raw.top() - 33.333333) < 1e-3);

    cs.setGridSnap(QRectF(0, 0, 1.0, 1.0));
    QCOMPARE(cs.mapToApplication(r), QRectF(QPointF(333, 33), QPointF(667, 67)));

    // Origin and step act per axis; a step of 0 leaves that axis alone.
    cs.setGridSnap(QRectF(5, 0, 10, 0));
    const QRectF snapped = cs.mapToApplication(r);
    QCOMPARE(snapped.left(), 335.0);
    QCOMPARE(snapped.right(), 665.0);
    QCOMPARE(snapped.top(), raw.top());

    // Polygons snap too.
    cs.setGridSnap(QRectF(0, 0, 1.0, 1.0));
    const QPolygonF poly = cs.mapToApplication(
        QPolygon(QVector<QPoint> { QPoint(100, 10), QPoint(200, 20) }), kq::SDeskewParams());
    QCOMPARE(poly, QPolygonF(QVector<QPointF> { QPointF(333, 33), QPointF(667, 67) }));
}

void TestCoordinateSystem::aspectRatio_data()
{
    QTest::addColumn<double>("aspect");
    QTest::addColumn<int>("alignment");
    QTest::addColumn<QRectF>("expected");
    QTest::newRow("ignored") << kq::CoordinateSystem::IGNORE_ASPECT_RATIO << int(Qt::AlignLeft | Qt::AlignTop)
                             << QRectF(0, 0, 100, 50);
    QTest::newRow("square, left") << 1.0 << int(Qt::AlignLeft | Qt::AlignTop) << QRectF(0, 0, 50, 50);
    QTest::newRow("square, right") << 1.0 << int(Qt::AlignRight | Qt::AlignTop) << QRectF(50, 0, 50, 50);
    QTest::newRow("square, centred") << 1.0 << int(Qt::AlignCenter) << QRectF(25, 0, 50, 50);
    QTest::newRow("tall, left") << 0.5 << int(Qt::AlignLeft | Qt::AlignTop) << QRectF(0, 0, 25, 50);
    QTest::newRow("very wide, bottom")
        << 4.0 << int(Qt::AlignLeft | Qt::AlignBottom) << QRectF(0, 25, 100, 25);
}

void TestCoordinateSystem::aspectRatio()
{
    QFETCH(double, aspect);
    QFETCH(int, alignment);
    QFETCH(QRectF, expected);
    kq::CoordinateSystem cs;
    QCOMPARE(cs.mapToApplication(QRect(QPoint(0, 0), QPoint(100, 50)), aspect, Qt::Alignment(alignment)),
        expected);
}

void TestCoordinateSystem::lensModelInverse_data()
{
    QTest::addColumn<int>("strength");
    QTest::addColumn<unsigned>("flags");
    QTest::addColumn<QString>("angles");
    const unsigned lens = kq::SDeskewParams::LensCorrection;
    const unsigned both = lens | kq::SDeskewParams::Deskew;
    QTest::newRow("strongest barrel") << -140 << lens << "0:270:0";
    QTest::newRow("barrel") << -80 << lens << "0:270:0";
    QTest::newRow("flag, no strength") << 0 << lens << "0:270:0";
    QTest::newRow("pincushion") << 150 << lens << "0:270:0";
    QTest::newRow("strong pincushion") << 1000 << lens << "0:270:0";
    QTest::newRow("barrel and roll") << -120 << both << "0:270:30";
    QTest::newRow("roll only") << 0 << unsigned(kq::SDeskewParams::Deskew) << "0:0:-75";
}

void TestCoordinateSystem::lensModelInverse()
{
    QFETCH(int, strength);
    QFETCH(unsigned, flags);
    QFETCH(QString, angles);
    kq::SDeskewParams p;
    p.lensStrength = strength;
    p.flags = flags;
    p.angles = angles;
    kq::CoordinateSystem cs;
    cs.setApplicationRect(QRectF(0, 0, 1920, 1080));
    cs.setScreenRect(QRect(0, 0, 640, 360));
    int checked = 0;
    for (double x = 0; x <= 1920; x += 37.5) {
        for (double y = 0; y <= 1080; y += 27.0) {
            const QPointF u(x, y);
            const QPointF back = cs.undistort(cs.distort(u, p), p);
            QVERIFY2(std::hypot(back.x() - u.x(), back.y() - u.y()) < 1e-6,
                qPrintable(QStringLiteral("(%1, %2)").arg(x).arg(y)));
            // And the other way: every raw image point has its corrected point.
            const QPointF again = cs.distort(cs.undistort(u, p), p);
            QVERIFY2(std::hypot(again.x() - u.x(), again.y() - u.y()) < 1e-6,
                qPrintable(QStringLiteral("raw (%1, %2)").arg(x).arg(y)));
            ++checked;
        }
    }
    QVERIFY(checked > 2000);
}

void TestCoordinateSystem::lensModelMovesPoints()
{
    kq::CoordinateSystem cs;
    cs.setApplicationRect(QRectF(0, 0, 1600, 1200)); // centre (800, 600), half diagonal 1000
    kq::SDeskewParams p;
    p.flags = kq::SDeskewParams::LensCorrection;
    p.lensStrength = -100; // k = -0.1
    // A corner (radius 1 in units of the half diagonal) is pulled in by 10 %.
    const QPointF corner = cs.distort(QPointF(0, 0), p);
    QVERIFY(std::abs(corner.x() - 80.0) < 1e-9);
    QVERIFY(std::abs(corner.y() - 60.0) < 1e-9);
    // The centre stays.
    QCOMPARE(cs.distort(QPointF(800, 600), p), QPointF(800, 600));
    // Half way out: radius 0.5 moves by k * 0.25 = 2.5 %.
    const QPointF half = cs.distort(QPointF(800 + 500, 600), p);
    QVERIFY(std::abs(half.x() - (800 + 500 * 0.975)) < 1e-9);

    // Deskew rotates counter-clockwise on screen about the centre.
    kq::SDeskewParams r;
    r.flags = kq::SDeskewParams::Deskew;
    r.angles = QStringLiteral("0:0:90");
    const QPointF turned = cs.distort(QPointF(900, 600), r);
    QVERIFY(std::abs(turned.x() - 800) < 1e-9);
    QVERIFY(std::abs(turned.y() - 500) < 1e-9);
}

void TestCoordinateSystem::polygonInverseWithinPixel_data()
{
    QTest::addColumn<int>("strength");
    QTest::addColumn<QString>("angles");
    QTest::addColumn<QRectF>("application");
    QTest::addColumn<QRect>("view");
    const QRectF hd(0, 0, 1920, 1080);
    QTest::newRow("barrel, scale 1/3") << -140 << "0:270:0" << hd << QRect(0, 0, 640, 480);
    QTest::newRow("barrel and roll") << -90 << "0:270:20" << hd << QRect(0, 0, 640, 480);
    QTest::newRow("pincushion") << 400 << "0:270:0" << hd << QRect(0, 0, 640, 480);
    QTest::newRow("barrel, scale 0.78")
        << -140 << "0:270:0" << QRectF(0, 0, 1280, 720) << QRect(5, 5, 1000, 800);
    QTest::newRow("barrel, screen larger than image")
        << -100 << "0:270:0" << QRectF(0, 0, 320, 240) << QRect(0, 0, 800, 600);
}

void TestCoordinateSystem::polygonInverseWithinPixel()
{
    QFETCH(int, strength);
    QFETCH(QString, angles);
    QFETCH(QRectF, application);
    QFETCH(QRect, view);
    kq::SDeskewParams p;
    p.flags = kq::SDeskewParams::LensCorrection | kq::SDeskewParams::Deskew;
    p.lensStrength = strength;
    p.angles = angles;
    kq::CoordinateSystem cs;
    cs.setApplicationRect(application);
    cs.setScreenRect(view);
    cs.setGridSnap(QRectF(0, 0, 1.0, 1.0));
    const QRect image = cs.screenRect();

    // A screen polygon through many points of the image, there and back.
    QPolygon screen;
    for (int x = image.left(); x <= image.right(); x += 9) {
        for (int y = image.top(); y <= image.bottom(); y += 7)
            screen << QPoint(x, y);
    }
    QVERIFY(screen.size() > 3000);
    const QPolygonF corrected = cs.mapToApplication(screen, p);
    const QPolygon back = cs.mapToScreen(corrected, p);
    QCOMPARE(back.size(), screen.size());
    int moved = 0;
    for (int i = 0; i < screen.size(); ++i) {
        const QPoint d = back.at(i) - screen.at(i);
        QVERIFY2(std::abs(d.x()) <= 1 && std::abs(d.y()) <= 1,
            qPrintable(QStringLiteral("(%1, %2) came back as (%3, %4)")
                           .arg(screen.at(i).x())
                           .arg(screen.at(i).y())
                           .arg(back.at(i).x())
                           .arg(back.at(i).y())));
        // The mapping does change the points (compared with no correction).
        if ((corrected.at(i) - cs.mapToApplication(QPointF(screen.at(i)))).manhattanLength() > 2)
            ++moved;
    }
    QVERIFY(moved > screen.size() / 4);

    // Image polygons come back within one screen pixel's worth of image units
    // (stretched by the lens where it magnifies).
    const double pixel = application.width() / image.width();
    const double stretch = 1.0 / (1.0 + 3.0 * qMin(0.0, p.lensFactor()));
    QPolygonF imagePoints;
    for (double x = application.left() + 3; x < application.right(); x += application.width() / 41)
        for (double y = application.top() + 2; y < application.bottom(); y += application.height() / 29)
            imagePoints << QPointF(x, y);
    const QPolygonF again = cs.mapToApplication(cs.mapToScreen(imagePoints, p), p);
    for (int i = 0; i < imagePoints.size(); ++i) {
        const QPointF d = again.at(i) - imagePoints.at(i);
        QVERIFY2(std::abs(d.x()) <= pixel * stretch + 0.5 && std::abs(d.y()) <= pixel * stretch + 0.5,
            qPrintable(QStringLiteral("point %1 off by (%2, %3)").arg(i).arg(d.x()).arg(d.y())));
    }
}

void TestCoordinateSystem::polygonWithoutFlagsIsPlainMapping()
{
    kq::CoordinateSystem cs;
    cs.setApplicationRect(QRectF(0, 0, 1920, 1080));
    cs.setScreenRect(QRect(0, 0, 640, 480));
    kq::SDeskewParams p;
    p.lensStrength = -140; // no flag: not applied
    p.angles = QStringLiteral("0:0:45");
    const QPolygonF a(QVector<QPointF> { QPointF(0, 0), QPointF(300, 150), QPointF(1920, 1080) });
    QCOMPARE(cs.mapToScreen(a, p),
        QPolygon(QVector<QPoint> { QPoint(0, 60), QPoint(100, 110), QPoint(640, 420) }));
}

QTEST_MAIN(TestCoordinateSystem)
#include "tst_coordinatesystem.moc"
