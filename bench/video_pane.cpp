// A motion pane with 64 windows over a 1080p30 H.264 video, against
// GStreamer decoding the same file into a fake sink:
// - CPU time of the whole process over the same wall time, as a ratio;
// - the delay from the sink handing a frame over to its painting (the
//   widget's "decodeToPaintUs" property), median and 99th percentile;
// - resident memory early in a longer run and at its end.
//
//   configdialogs_video_bench [--seconds N] [--memory-seconds M] [--windows W] [--format F] [--rtsp]
//                             [--encoding fastest|camera] [--rounds N]
//
// --rounds N measures N times, GStreamer alone and a new pane in turn, and
// prints the medians: on a shared machine one run moves with the load.
//
// The file is made first with GStreamer's encoders (colour bars scrolling
// sideways, 10 s), in a temporary folder. The goal's ratio is measured on
// it, as made by default: x264's fastest preset (baseline tools: no CABAC,
// no deblocking) over a picture that is nearly all flat colour, which
// decodes about as cheaply as H.264 can.
//
// --encoding camera makes it as network cameras send it instead, for
// comparison: Main profile (CABAC, the deblocking filter on), x264's
// veryfast preset tuned for zero latency (no B frames, as cameras), 5 Mbit/s
// and a key frame a second, over a zone plate whose rings drift every frame:
// texture over the whole picture and motion everywhere, so the encoder
// spends its whole bit rate, as on a busy scene, and the decoder has that
// much work per frame. The pane's own work per frame is the same either
// way; the decoder's is not, and that is the reference of the ratio. With --rtsp the same picture comes
// live over RTSP from configdialogs_rtsp_camera, started on 127.0.0.1 and
// stopped at the end.
#include <gst/gst.h>

#include "gstreamer_testsupport.h"

#include <ConfigDialogs/VideoMotionWindowPane.h>

#include <kq/MemoryConfigSession.h>

#include <QApplication>
#include <QCommandLineParser>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTextStream>
#include <QTimer>

#include <sys/resource.h>
#include <time.h>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <vector>

namespace {

double cpuSeconds()
{
    rusage usage {};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_utime.tv_sec + usage.ru_stime.tv_sec
        + (usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

// CPU time of the calling thread alone (here the GUI thread: conversion,
// painting, the event loop), in seconds.
double threadCpuSeconds()
{
    timespec now {};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return now.tv_sec + now.tv_nsec / 1e9;
}

qint64 residentKiB()
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return -1;
    for (const QByteArray& line : status.readAll().split('\n')) {
        if (line.startsWith("VmRSS:"))
            return line.mid(6).trimmed().split(' ').first().toLongLong();
    }
    return -1;
}

// Runs the event loop for that long (sleeping while there is nothing to do).
void spin(int milliseconds)
{
    QEventLoop loop;
    QTimer::singleShot(milliseconds, &loop, &QEventLoop::quit);
    loop.exec();
}

double percentile(std::vector<double> values, double p)
{
    if (values.empty())
        return -1;
    std::sort(values.begin(), values.end());
    return values[std::min(values.size() - 1, size_t(p * (values.size() - 1) + 0.5))];
}

// "median (lowest to highest)" of the values, two decimals.
QString spread(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    const size_t n = values.size();
    const double median = n % 2 ? values[n / 2] : (values[n / 2 - 1] + values[n / 2]) / 2;
    return QStringLiteral("%1 (%2 to %3)")
        .arg(median, 0, 'f', 2)
        .arg(values.front(), 0, 'f', 2)
        .arg(values.back(), 0, 'f', 2);
}

} // namespace

int main(int argc, char** argv)
{
    QApplication app(argc, argv);
    gst_init(nullptr, nullptr);
    QCommandLineParser parser;
    const QCommandLineOption secondsOption(
        QStringLiteral("seconds"), QStringLiteral("Run length."), QStringLiteral("N"), QStringLiteral("10"));
    const QCommandLineOption memoryOption(QStringLiteral("memory-seconds"),
        QStringLiteral("Keep the pane playing this long, resident memory noted at a tenth and at the end."),
        QStringLiteral("M"), QStringLiteral("0"));
    const QCommandLineOption windowsOption(QStringLiteral("windows"), QStringLiteral("Windows on the pane."),
        QStringLiteral("W"), QStringLiteral("64"));
    const QCommandLineOption formatOption(QStringLiteral("format"),
        QStringLiteral("Pixel format the encoder is given: I420 (8-bit 4:2:0, as cameras send), or e.g. "
                       "Y444_10LE (10-bit 4:4:4, what the encoder picks unasked)."),
        QStringLiteral("F"), QStringLiteral("I420"));
    const QCommandLineOption rtspOption(QStringLiteral("rtsp"),
        QStringLiteral("Receive the stream live over RTSP from a camera served on 127.0.0.1 instead of a file."));
    const QCommandLineOption encodingOption(QStringLiteral("encoding"),
        QStringLiteral("How the file is encoded: fastest (colour bars, x264's fastest preset; what the goal is "
                       "measured on) or camera (Main profile, CABAC and deblocking, 5 Mbit/s, a moving zone "
                       "plate)."),
        QStringLiteral("E"), QStringLiteral("fastest"));
    const QCommandLineOption roundsOption(QStringLiteral("rounds"),
        QStringLiteral("Measure this many times, GStreamer alone and the pane in turn, and give the medians."),
        QStringLiteral("N"), QStringLiteral("1"));
    parser.addOptions(
        { secondsOption, memoryOption, windowsOption, formatOption, rtspOption, encodingOption, roundsOption });
    parser.process(app);
    const int seconds = parser.value(secondsOption).toInt();
    const int memorySeconds = parser.value(memoryOption).toInt();
    const int windows = qBound(0, parser.value(windowsOption).toInt(), 64);
    const int rounds = qBound(1, parser.value(roundsOption).toInt(), 100);
    QTextStream out(stdout);

    // The source: a file made here, or the live camera of
    // configdialogs_rtsp_camera in a process of its own (its encoding is not
    // counted), received over RTSP on 127.0.0.1.
    QTemporaryDir dir;
    QString source;
    QString reference; // GStreamer's own pipeline from the source to the decoder
    QProcess camera;
    if (parser.isSet(rtspOption)) {
        camera.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        camera.start(QStringLiteral(KQ_RTSP_CAMERA),
            { QStringLiteral("--size"), QStringLiteral("1920x1080"), QStringLiteral("--rate"), QStringLiteral("30"),
                QStringLiteral("--format"), parser.value(formatOption), QStringLiteral("--seconds"),
                QString::number((2 * rounds + 1) * (seconds + 1) + memorySeconds + 30) });
        if (!camera.waitForReadyRead(30000)) {
            out << "the RTSP camera did not start\n";
            return 1;
        }
        source = QString::fromUtf8(camera.readLine().trimmed());
        // As the widget receives: a 100 ms jitter buffer that drops late
        // packets, frames decoded as they come.
        reference = QStringLiteral("rtspsrc location=%1 latency=100 drop-on-latency=true ! rtph264depay ! "
                                   "h264parse ! avdec_h264")
                        .arg(source);
    } else {
        const QString encoding = parser.value(encodingOption);
        const bool camera = encoding == QLatin1String("camera");
        if (!camera && encoding != QLatin1String("fastest")) {
            out << "unknown encoding " << encoding << " (fastest or camera)\n";
            return 1;
        }
        source = dir.filePath(QStringLiteral("bars-1080p30.mp4"));
        const QString picture = camera
            ? QStringLiteral("videotestsrc pattern=zone-plate kx2=40 ky2=40 kt=2 kxt=1 num-buffers=300")
            : QStringLiteral("videotestsrc pattern=smpte horizontal-speed=4 num-buffers=300");
        const QString encoder = camera
            ? QStringLiteral("x264enc speed-preset=veryfast tune=zerolatency bitrate=5000 key-int-max=30 ! "
                             "video/x-h264,profile=main")
            : QStringLiteral("x264enc speed-preset=ultrafast key-int-max=30");
        QString error;
        if (!kqtest::runPipeline(QStringLiteral("%3 ! video/x-raw,format=%2,width=1920,height=1080,framerate=30/1 ! "
                                                "%4 ! h264parse ! mp4mux ! filesink location=\"%1\"")
                                     .arg(source, parser.value(formatOption), picture, encoder),
                0, &error)) {
            out << "cannot make the test video: " << error << "\n";
            return 1;
        }
        reference = QStringLiteral("filesrc location=\"%1\" ! qtdemux ! h264parse ! avdec_h264").arg(source);
    }
    const bool live = parser.isSet(rtspOption);
    const QString sync = live ? QStringLiteral("false") : QStringLiteral("true");
    out << "1080p30 H.264 " << (live ? "over RTSP from 127.0.0.1" : "file") << " (" << parser.value(formatOption)
        << (live ? QString() : QStringLiteral(", %1 encoding").arg(parser.value(encodingOption))) << "), "
        << windows << " windows, pane 1280 x 720\n";
    out.flush();

    // The delay of each frame painted, from the pane's property.
    std::vector<double> delays;
    struct Recorder : QObject {
        std::vector<double>* delays;
        bool eventFilter(QObject* watched, QEvent* event) override
        {
            if (event->type() == QEvent::DynamicPropertyChange)
                delays->push_back(watched->property("decodeToPaintUs").toLongLong() / 1000.0);
            return false;
        }
    } recorder;
    recorder.delays = &delays;
    kqm::smart<kq::MemoryConfigSession> session(new kq::MemoryConfigSession(QRectF(0, 0, 1920, 1080)));
    session->setAttribute(QStringLiteral("video"), source);

    // Each round runs GStreamer alone, then a new pane over the same stream
    // for as long; the ratio of a round compares the two. The machine's
    // other load moves single runs, so the median of several is the figure
    // to quote.
    std::vector<double> ratios;
    std::vector<double> guiPerFrame;
    std::unique_ptr<kqgui::VideoMotionWindowPane> pane;
    for (int round = 1; round <= rounds; ++round) {
        pane.reset(); // the previous round's stream stops with its pane
        QString error;
        double cpu = cpuSeconds();
        QElapsedTimer wall;
        wall.start();
        kqtest::runPipeline(QStringLiteral("%1 ! fakesink sync=%2").arg(reference, sync), seconds, &error);
        const double decodeCpu = cpuSeconds() - cpu;
        const double decodeWall = wall.elapsed() / 1000.0;
        double convertCpu = 0;
        double convertWall = 0;
        if (round == 1) {
            // Decoded and converted to 32-bit RGB, as a player would: once.
            cpu = cpuSeconds();
            wall.restart();
            kqtest::runPipeline(
                QStringLiteral("%1 ! videoconvert ! video/x-raw,format=BGRx ! fakesink sync=%2").arg(reference, sync),
                seconds, &error);
            convertCpu = cpuSeconds() - cpu;
            convertWall = wall.elapsed() / 1000.0;
        }

        pane = std::make_unique<kqgui::VideoMotionWindowPane>();
        pane->resize(1280, 720);
        pane->show();
        pane->setCoordinateSystem(session);
        pane->showOnScreenDisplay(true);
        for (int i = 0; i < windows; ++i) {
            const QPoint corner((i % 8) * 240 + 10, (i / 8) * 135 + 10);
            pane->addRect(QRect(corner, corner + QPoint(200, 100)), Qt::white);
        }
        spin(1000); // the first frame, before measuring
        pane->installEventFilter(&recorder);
        const int firstFrame = pane->frameNumber();
        cpu = cpuSeconds();
        const double guiCpuBefore = threadCpuSeconds();
        wall.restart();
        spin(seconds * 1000);
        const double paneCpu = cpuSeconds() - cpu;
        const double guiCpu = threadCpuSeconds() - guiCpuBefore;
        const double paneWall = wall.elapsed() / 1000.0;
        const int frames = pane->frameNumber() - firstFrame;
        pane->removeEventFilter(&recorder);
        const double ratio = (paneCpu / paneWall) / (decodeCpu / decodeWall);
        const double guiMs = frames > 0 ? guiCpu * 1000 / frames : 0.0;
        ratios.push_back(ratio);
        guiPerFrame.push_back(guiMs);

        if (rounds > 1)
            out << "round " << round << " of " << rounds << ":\n";
        out << QStringLiteral("decode into fakesink: %1 s CPU in %2 s\n")
                   .arg(decodeCpu, 0, 'f', 2)
                   .arg(decodeWall, 0, 'f', 1);
        if (round == 1)
            out << QStringLiteral("decode and convert to RGB into fakesink: %1 s CPU in %2 s\n")
                       .arg(convertCpu, 0, 'f', 2)
                       .arg(convertWall, 0, 'f', 1);
        out << QStringLiteral("pane over the video:  %1 s CPU in %2 s, %3 frames painted (%4 per s)\n")
                   .arg(paneCpu, 0, 'f', 2)
                   .arg(paneWall, 0, 'f', 1)
                   .arg(frames)
                   .arg(frames / paneWall, 0, 'f', 1);
        out << QStringLiteral("of which the GUI thread: %1 s CPU, %2 ms a frame painted\n")
                   .arg(guiCpu, 0, 'f', 2)
                   .arg(guiMs, 0, 'f', 2);
        out << QStringLiteral("CPU ratio per wall second: %1 to decoding").arg(ratio, 0, 'f', 2);
        if (round == 1)
            out << QStringLiteral(", %1 to decoding and converting")
                       .arg((paneCpu / paneWall) / (convertCpu / convertWall), 0, 'f', 2);
        out << "\n";
        out.flush();
    }
    if (rounds > 1) {
        out << QStringLiteral("over %1 rounds: CPU ratio to decoding median %2, GUI thread ms a frame median %3\n")
                   .arg(rounds)
                   .arg(spread(ratios), spread(guiPerFrame));
    }
    out << QStringLiteral("sink to paint: median %1 ms, 99th percentile %2 ms (%3 frames)\n")
               .arg(percentile(delays, 0.5), 0, 'f', 2)
               .arg(percentile(delays, 0.99), 0, 'f', 2)
               .arg(delays.size());
    out.flush();

    if (memorySeconds > 0) {
        spin(memorySeconds * 100);
        const qint64 early = residentKiB();
        spin(memorySeconds * 900);
        const qint64 late = residentKiB();
        out << QStringLiteral("resident memory: %1 KiB after %2 s, %3 KiB after %4 s (%5 KiB more)\n")
                   .arg(early)
                   .arg(memorySeconds / 10.0 + 1 + seconds, 0, 'f', 0)
                   .arg(late)
                   .arg(memorySeconds + 1 + seconds)
                   .arg(late - early);
    }
    if (live) {
        camera.terminate();
        camera.waitForFinished(5000);
    }
    return 0;
}
