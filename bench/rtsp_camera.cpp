// A camera on 127.0.0.1 for the video bench and for trying the demo by hand:
// the colour bars scrolling sideways, live, H.264 over RTSP, served by
// GStreamer's RTSP server library for a given time, then stopped.
//
//   configdialogs_rtsp_camera [--size WxH] [--rate N] [--format F] [--seconds N] [--port P]
//
// The first line it prints is the stream's URL (rtsp://127.0.0.1:PORT/cam).
#include "rtsp_testsupport.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QSize>
#include <QTextStream>
#include <QTimer>

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    gst_init(nullptr, nullptr);
    QCommandLineParser parser;
    parser.addHelpOption();
    const QCommandLineOption sizeOption(
        QStringLiteral("size"), QStringLiteral("Picture size."), QStringLiteral("WxH"), QStringLiteral("1920x1080"));
    const QCommandLineOption rateOption(
        QStringLiteral("rate"), QStringLiteral("Frames per second."), QStringLiteral("N"), QStringLiteral("30"));
    const QCommandLineOption formatOption(QStringLiteral("format"), QStringLiteral("Pixel format encoded."),
        QStringLiteral("F"), QStringLiteral("I420"));
    const QCommandLineOption secondsOption(QStringLiteral("seconds"), QStringLiteral("How long to serve."),
        QStringLiteral("N"), QStringLiteral("600"));
    const QCommandLineOption portOption(
        QStringLiteral("port"), QStringLiteral("Port; 0 for a free one."), QStringLiteral("P"), QStringLiteral("0"));
    parser.addOptions({ sizeOption, rateOption, formatOption, secondsOption, portOption });
    parser.process(app);
    const QStringList size = parser.value(sizeOption).split(QLatin1Char('x'));
    const int width = size.value(0).toInt();
    const int height = size.value(1).toInt();
    const int rate = parser.value(rateOption).toInt();
    QTextStream out(stdout);
    if (width <= 0 || height <= 0 || rate <= 0) {
        QTextStream(stderr) << "configdialogs_rtsp_camera: bad --size or --rate\n";
        return 2;
    }
    kqtest::RtspServer server(kqtest::cameraLaunch(width, height, rate, parser.value(formatOption), true));
    if (!server.start(parser.value(portOption).toInt())) {
        QTextStream(stderr) << "configdialogs_rtsp_camera: cannot listen on 127.0.0.1\n";
        return 1;
    }
    out << server.url() << Qt::endl;
    QTimer::singleShot(parser.value(secondsOption).toInt() * 1000, &app, &QCoreApplication::quit);
    return app.exec();
}
