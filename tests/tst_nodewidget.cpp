#define QTEST_QPA_MOUSE_HANDLING

#include <kq/Log.h>
#include <kq/MemoryConfigSession.h>
#include <kq/NodeDB.h>
#include <kq/NodeWidget.h>
#include <kq/OnScreenDisplay.h>

#include <QBuffer>
#include <QImageReader>
#include <QJsonDocument>
#include <QTemporaryDir>
#include <QtTest>

Q_DECLARE_METATYPE(kq::SDeskewParams)

namespace {
const QColor Background(120, 120, 120, 255);

kqm::smart<kq::MemoryConfigSession> makeSession(const QSize& size)
{
    return kqm::smart<kq::MemoryConfigSession>(new kq::MemoryConfigSession(QRectF(QPointF(0, 0), size)));
}

// Makes w show, frame by frame, a node of that image size whose video is the
// given file.
void showVideo(kq::NodeWidget& w, const QSize& size, const QString& path, const QString& id)
{
    auto session = makeSession(size);
    session->setAttribute(QStringLiteral("video"), path);
    w.setFrameRate(0);
    w.setSession(session, id);
}

// Centre of the yellow ball in a frame of the test scene.
QPointF ballCentre(const QImage& frame)
{
    qint64 sx = 0, sy = 0, n = 0;
    for (int y = 0; y < frame.height(); ++y) {
        for (int x = 0; x < frame.width(); ++x) {
            const QColor c = frame.pixelColor(x, y);
            if (c.red() > 230 && c.green() > 180 && c.green() < 220 && c.blue() < 70)
                sx += x, sy += y, ++n;
        }
    }
    return n ? QPointF(double(sx) / n, double(sy) / n) : QPointF(-1, -1);
}
}

class TestNodeWidget : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void framesAdvance();
    void frameSizeFollowsSession();
    void deskewFromSession_data();
    void deskewFromSession();
    void deskewDefaultsWithoutSession();
    void stillImageFile();
    void animatedImageFile();
    void unreadableFileFallsBack();
    void letterboxedPainting();
    void stepAndContinuousPTZ();
    void onScreenDisplayOnTop();
    void nodeFromDatabase();
};

void TestNodeWidget::initTestCase() { qRegisterMetaType<kq::SDeskewParams>(); }

void TestNodeWidget::framesAdvance()
{
    kq::NodeWidget w(nullptr, kq::NodeWidget::NVM_Fit, Background);
    w.setFrameRate(0);
    w.setSession(makeSession(QSize(320, 240)), QStringLiteral("cam-1"));
    QCOMPARE(w.frameNumber(), 0);
    QCOMPARE(w.frameSize(), QSize(320, 240));
    const QImage first = w.currentFrame();
    const QPointF ball0 = ballCentre(first);
    QVERIFY(ball0.x() > 0);
    for (int i = 0; i < 10; ++i)
        w.advanceFrame();
    QCOMPARE(w.frameNumber(), 10);
    const QImage tenth = w.currentFrame();
    QCOMPARE(tenth.size(), QSize(320, 240));
    QVERIFY(tenth != first);
    const QPointF ball10 = ballCentre(tenth);
    QVERIFY(ball10.x() > 0);
    // The ball travels to the right and bobs up and down.
    QVERIFY2(
        ball10.x() > ball0.x() + 5, qPrintable(QStringLiteral("%1 -> %2").arg(ball0.x()).arg(ball10.x())));
    QVERIFY(std::abs(ball10.y() - ball0.y()) > 5);
}

void TestNodeWidget::frameSizeFollowsSession()
{
    kq::NodeWidget w(nullptr, kq::NodeWidget::NVM_Fit, Background);
    w.setFrameRate(0);
    QCOMPARE(w.frameSize(), QSize(640, 360)); // no node
    QSignalSpy sizes(&w, &kq::NodeWidget::frameSizeChanged);
    w.setSession(makeSession(QSize(800, 600)), QStringLiteral("cam-2"));
    QCOMPARE(sizes.count(), 1);
    QCOMPARE(sizes.first().at(0).value<kq::NodeID>(), QStringLiteral("cam-2"));
    QCOMPARE(sizes.first().at(1).toSize(), QSize(800, 600));
    w.setSession(makeSession(QSize(800, 600)), QStringLiteral("cam-3"));
    QCOMPARE(sizes.count(), 1); // same size: no signal
    QCOMPARE(w.nodeId(), QStringLiteral("cam-3"));
    // Absurd sizes are scaled down, empty ones give the default.
    w.setSession(makeSession(QSize(40000, 10000)), QStringLiteral("huge"));
    QCOMPARE(w.frameSize(), QSize(8192, 2048));
    w.setSession(makeSession(QSize(0, 300)), QStringLiteral("empty"));
    QCOMPARE(w.frameSize(), QSize(640, 360));
}

void TestNodeWidget::deskewFromSession_data()
{
    QTest::addColumn<QVariant>("attribute");
    QTest::addColumn<kq::SDeskewParams>("expected");

    kq::SDeskewParams all;
    all.view = 2;
    all.channel = 1;
    all.angles = QStringLiteral("10:20:30");
    all.lensStrength = -120;
    all.mode = QStringLiteral("panorama");
    all.flags = kq::SDeskewParams::LensCorrection | kq::SDeskewParams::Deskew;
    const QVariantMap map { { "view", 2 }, { "channel", 1 }, { "angles", "10:20:30" },
        { "lensStrength", -120 }, { "mode", "panorama" }, { "lensCorrection", true }, { "deskew", true } };
    QTest::newRow("object") << QVariant(map) << all;
    QTest::newRow("JSON text") << QVariant(QString::fromUtf8(QJsonDocument::fromVariant(map).toJson()))
                               << all;

    kq::SDeskewParams some;
    some.flags = kq::SDeskewParams::LensCorrection;
    some.mode = QStringLiteral("quad");
    QTest::newRow("some keys") << QVariant(QVariantMap { { "lensCorrection", true }, { "mode", "quad" } })
                               << some;

    kq::SDeskewParams wrong;
    wrong.channel = 4;
    QTest::newRow("wrong types keep defaults")
        << QVariant(QVariantMap { { "view", "2" }, { "channel", 4.0 }, { "lensStrength", 1.5 }, { "mode", 7 },
               { "lensCorrection", "yes" }, { "angles", QVariantList { 1, 2, 3 } } })
        << wrong;
    QTest::newRow("malformed JSON") << QVariant(QStringLiteral("{ view: 2")) << kq::SDeskewParams();
    QTest::newRow("not an object") << QVariant(42) << kq::SDeskewParams();
}

void TestNodeWidget::deskewFromSession()
{
    QFETCH(QVariant, attribute);
    QFETCH(kq::SDeskewParams, expected);
    auto session = makeSession(QSize(640, 480));
    session->setAttribute(QStringLiteral("deskew"), attribute);
    const kq::SDeskewParams p = kq::NodeWidget::getDeskewParams(session);
    QCOMPARE(p.view, expected.view);
    QCOMPARE(p.channel, expected.channel);
    QCOMPARE(p.angles, expected.angles);
    QCOMPARE(p.lensStrength, expected.lensStrength);
    QCOMPARE(p.mode, expected.mode);
    QCOMPARE(p.flags, expected.flags);
    QVERIFY(!(p != expected));
}

void TestNodeWidget::deskewDefaultsWithoutSession()
{
    QVERIFY(!(kq::NodeWidget::getDeskewParams(kqm::smart<kq::INodeConfigSession>()) != kq::SDeskewParams()));
    QVERIFY(!(kq::NodeWidget::getDeskewParams(makeSession(QSize(10, 10))) != kq::SDeskewParams()));

    // A node loaded from a document keeps "deskew" as an attribute.
    kq::NodeDB db;
    QString error;
    QVERIFY2(db.loadJson(R"({ "nodes": [ { "id": "fish", "name": "Fisheye", "imageRect": [0, 0, 1280, 960],
        "deskew": { "view": 1, "mode": "panorama", "lensCorrection": true, "lensStrength": -80 } } ] })",
                 &error),
        qPrintable(error));
    const kq::SDeskewParams p = kq::NodeWidget::getDeskewParams(db.session(QStringLiteral("fish")));
    QCOMPARE(p.view, 1);
    QCOMPARE(p.mode, QStringLiteral("panorama"));
    QVERIFY(p.hasLensCorrection());
    QCOMPARE(p.lensStrength, -80);
}

void TestNodeWidget::stillImageFile()
{
    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    QImage still(200, 100, QImage::Format_RGB32);
    still.fill(QColor(10, 20, 250));
    const QString path = dir.filePath(QStringLiteral("still.png"));
    QVERIFY(still.save(path));
    kq::NodeWidget w(nullptr, kq::NodeWidget::NVM_Fit, Background);
    showVideo(w, QSize(200, 100), path, QStringLiteral("still"));
    QCOMPARE(w.frameSize(), QSize(200, 100));
    QCOMPARE(w.currentFrame().pixelColor(50, 50), QColor(10, 20, 250));
    w.advanceFrame();
    QCOMPARE(w.frameNumber(), 1);
    QCOMPARE(w.currentFrame().pixelColor(150, 70), QColor(10, 20, 250));
}

void TestNodeWidget::animatedImageFile()
{
    // A two-frame animated GIF of 2 x 1 pixels: white, then black, looping.
    // The image data of each frame is the LZW code stream clear, 0 (or 1), 0
    // (or 1), end at three bits per code.
    QByteArray gif("GIF89a\x02\x00\x01\x00\x80\x00\x00"
                   "\xff\xff\xff\x00\x00\x00",
        19);
    gif += QByteArray("!\xff\x0bNETSCAPE2.0\x03\x01\x00\x00\x00", 19);
    auto frame = [&gif](char code) {
        gif += QByteArray("!\xf9\x04\x00\x0a\x00\x00\x00", 8);
        gif += QByteArray(",\x00\x00\x00\x00\x02\x00\x01\x00\x00", 10);
        // clear(4), code, code, end(5), packed from the low bit: 100 ccc ccc 101
        const int bits = 4 | (code << 3) | (code << 6) | (5 << 9);
        gif += char(2);
        gif += char(2);
        gif += char(bits & 0xff);
        gif += char(bits >> 8);
        gif += char(0);
    };
    frame(0);
    frame(1);
    gif += ';';
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("clip.gif"));
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(gif);
    file.close();
    QVERIFY2(QImageReader(path).supportsAnimation(), "no GIF support");

    kq::NodeWidget w(nullptr, kq::NodeWidget::NVM_Fit, Background);
    showVideo(w, QSize(2, 1), path, QStringLiteral("gif"));
    QCOMPARE(w.frameSize(), QSize(2, 1));
    QCOMPARE(w.currentFrame().pixelColor(1, 0), QColor(Qt::white));
    w.advanceFrame();
    QCOMPARE(w.currentFrame().pixelColor(1, 0), QColor(Qt::black));
    w.advanceFrame(); // loops
    QCOMPARE(w.currentFrame().pixelColor(0, 0), QColor(Qt::white));
    QCOMPARE(w.frameNumber(), 2);
}

void TestNodeWidget::unreadableFileFallsBack()
{
    QBuffer log;
    kq::LogQt::setDevice(&log);
    kq::NodeWidget w(nullptr, kq::NodeWidget::NVM_Fit, Background);
    showVideo(w, QSize(320, 180), QStringLiteral("/nonexistent/clip.gif"), QStringLiteral("broken"));
    kq::LogQt::setDevice(nullptr);
    QCOMPARE(w.frameSize(), QSize(320, 180));
    QVERIFY(ballCentre(w.currentFrame()).x() > 0); // the test scene
    QVERIFY2(log.data().contains("cannot read the video file /nonexistent/clip.gif of node broken: "),
        log.data().constData());

    // A widget given a session without an identifier (as a pane is) names
    // the node the node database holds that session under...
    auto held = makeSession(QSize(320, 180));
    held->setAttribute(QStringLiteral("video"), QStringLiteral("/nonexistent/clip.gif"));
    kq::NodeDB::getDB()->insert(QStringLiteral("cam-held"), QStringLiteral("Held"), held);
    QBuffer named;
    kq::LogQt::setDevice(&named);
    kq::NodeWidget pane(nullptr, kq::NodeWidget::NVM_Fit, Background);
    pane.setFrameRate(0);
    pane.setSession(held);
    kq::LogQt::setDevice(nullptr);
    QVERIFY(kq::NodeDB::getDB()->remove(QStringLiteral("cam-held")));
    QVERIFY2(named.data().contains("cannot read the video file /nonexistent/clip.gif of node cam-held: "),
        named.data().constData());

    // ... and none for a session the database does not hold.
    QBuffer anonymous;
    kq::LogQt::setDevice(&anonymous);
    kq::NodeWidget unnamed(nullptr, kq::NodeWidget::NVM_Fit, Background);
    showVideo(unnamed, QSize(320, 180), QStringLiteral("/nonexistent/clip.gif"), QString());
    kq::LogQt::setDevice(nullptr);
    QVERIFY2(anonymous.data().contains("cannot read the video file /nonexistent/clip.gif: "),
        anonymous.data().constData());
    QVERIFY2(!anonymous.data().contains("of node"), anonymous.data().constData());
}

void TestNodeWidget::letterboxedPainting()
{
    kq::NodeWidget w(nullptr, kq::NodeWidget::NVM_Fit, Background);
    w.setFrameRate(0);
    w.setSession(makeSession(QSize(320, 240)), QStringLiteral("cam-4:3"));
    w.resize(400, 400);
    QCOMPARE(w.videoRect(), QRect(0, 50, 400, 300));
    const QImage shot = w.grab().toImage();
    shot.save(QDir::temp().filePath(QStringLiteral("tst_nodewidget.png")));
    // Bars above and below in the background colour, the picture between.
    QCOMPARE(shot.pixelColor(200, 20), QColor(Background));
    QCOMPARE(shot.pixelColor(200, 380), QColor(Background));
    QVERIFY(shot.pixelColor(200, 200) != QColor(Background));
    QVERIFY(shot.pixelColor(380, 60) != QColor(Background));

    // The caption (node name) at the top left and the frame information at
    // the bottom left sit on dark boxes; without them the bars are plain.
    QVERIFY(shot.pixelColor(5, 8).value() < 100);
    QVERIFY(shot.pixelColor(5, 390).value() < 100);
    w.setDisplayFlag(kq::NodeWidget::DF_Caption, false);
    QImage plain = w.grab().toImage();
    QCOMPARE(plain.pixelColor(5, 8), QColor(Background));
    QVERIFY(plain.pixelColor(5, 390).value() < 100);
    w.setDisplayFlags({});
    plain = w.grab().toImage();
    QCOMPARE(plain.pixelColor(5, 390), QColor(Background));

    w.setViewMode(kq::NodeWidget::NVM_Stretch);
    QCOMPARE(w.videoRect(), w.rect());
}

void TestNodeWidget::stepAndContinuousPTZ()
{
    kq::NodeWidget w(nullptr, kq::NodeWidget::NVM_Fit, Background);
    w.setFrameRate(0);
    w.setSession(makeSession(QSize(400, 300)), QStringLiteral("ptz"));
    w.resize(400, 300);
    w.show();
    QVERIFY(QTest::qWaitForWindowExposed(&w));
    QSignalSpy zoom(&w, &kq::NodeWidget::zoomChanged);

    // Off: clicks and the wheel do nothing.
    QTest::mouseClick(&w, Qt::LeftButton, {}, QPoint(100, 100));
    QWheelEvent wheel(QPointF(200, 150), QPointF(w.mapToGlobal(QPoint(200, 150))), QPoint(), QPoint(0, 120),
        Qt::NoButton, Qt::NoModifier, Qt::NoScrollPhase, false);
    QApplication::sendEvent(&w, &wheel);
    QCOMPARE(zoom.count(), 0);

    // Step: a click centres the view on the clicked point.
    w.setEnableStepPTZ(true, true);
    QCOMPARE(w.cursor().shape(), Qt::CrossCursor);
    QTest::mouseClick(&w, Qt::LeftButton, {}, QPoint(100, 100));
    QCOMPARE(zoom.count(), 1);
    QCOMPARE(zoom.last().at(0).value<kq::NodeID>(), QStringLiteral("ptz"));
    QCOMPARE(zoom.last().at(1).toInt(), 100);
    QCOMPARE(QPoint(zoom.last().at(2).toInt(), zoom.last().at(3).toInt()), QPoint(100, 100));

    // Continuous: the wheel zooms by a quarter per notch.
    w.setEnableContinuousPTZ(true, false);
    QApplication::sendEvent(&w, &wheel);
    QCOMPARE(zoom.count(), 2);
    QCOMPARE(zoom.last().at(1).toInt(), 125);
    QCOMPARE(w.zoom(), 125);

    // The pane's settings switch both off again.
    w.setEnableStepPTZ(false, false);
    w.setEnableContinuousPTZ(false, false);
    QCOMPARE(w.cursor().shape(), Qt::ArrowCursor);
    QTest::mouseClick(&w, Qt::LeftButton, {}, QPoint(300, 200));
    QCOMPARE(zoom.count(), 2);
}

void TestNodeWidget::onScreenDisplayOnTop()
{
    kq::NodeWidget w(nullptr, kq::NodeWidget::NVM_Fit, Background);
    w.setFrameRate(0);
    w.setSession(makeSession(QSize(320, 240)), QStringLiteral("osd"));
    w.resize(320, 240);
    auto* osd = new kq::OnScreenDisplay(&w);
    w.setOnScreenDisplay(osd);
    QCOMPARE(w.onScreenDisplay(), osd);
    auto* c = new kq::OnScreenRectControl(&w, osd->widget(), QRect(100, 80, 120, 80), QColor(255, 0, 0, 255),
        QColor(255, 0, 0, 255), kq::OnScreenColorRect::Outline, kq::OnScreenControl::ControlFlags(0x30B));
    osd->push_back(QList<kq::OnScreenControl*>() << c, nullptr);
    w.resize(640, 480); // the display follows the widget's size
    const QImage shot = w.grab().toImage();
    QCOMPARE(osd->widget()->geometry(), w.rect());
    QCOMPARE(shot.pixelColor(150, 120), QColor(Qt::red));
    QVERIFY(shot.pixelColor(50, 50) != QColor(Qt::red));
    w.clearOnScreenDisplay();
    QVERIFY(osd->controls().isEmpty());
    w.setOnScreenDisplay(nullptr);
    w.clearOnScreenDisplay(); // nothing installed: nothing happens
}

void TestNodeWidget::nodeFromDatabase()
{
    kq::NodeDB* db = kq::NodeDB::getDB();
    QString error;
    QVERIFY2(
        db->loadJson(
            R"({ "nodes": [ { "id": "tst-nodewidget", "name": "Gate", "imageRect": [0, 0, 480, 270] } ] })",
            &error),
        qPrintable(error));
    kq::NodeWidget w(nullptr, kq::NodeWidget::NVM_Fit, Background);
    w.setFrameRate(0);
    QVERIFY(w.setNode(QStringLiteral("tst-nodewidget")));
    QCOMPARE(w.nodeId(), QStringLiteral("tst-nodewidget"));
    QCOMPARE(w.frameSize(), QSize(480, 270));
    QVERIFY(!w.setNode(QStringLiteral("no-such-node")));
    QVERIFY(w.session().null());
    QCOMPARE(w.frameSize(), QSize(640, 360));
    db->remove(QStringLiteral("tst-nodewidget"));
}

QTEST_MAIN(TestNodeWidget)
#include "tst_nodewidget.moc"
