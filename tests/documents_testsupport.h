// Test support for the suites that feed the node database large and hostile
// documents: a generator of camera documents of any size, and child
// processes (the suite's own executable run again with a role argument) whose
// peak memory can be read and which can be killed at any moment.
#pragma once

#include <QByteArray>
#include <QCoreApplication>
#include <QFile>
#include <QProcess>
#include <QString>
#include <QStringList>
#include <QTest>

namespace doctest {

// One camera of a generated document, shaped like the demo's built-in
// cameras (about 1.9 KB each): every property kind the dialog shows, event
// lists and window records. `variant` changes the names and a few values, so
// that two variants of one document differ throughout.
inline void appendCamera(QByteArray* out, int i, int variant)
{
    const QByteArray n = QByteArray::number(i);
    const QByteArray v = QByteArray::number(variant);
    const QByteArray port = QByteArray::number(1 + (i * 7 + variant) % 65535);
    out->append("{\"id\":\"cam-" + n + "\",\"name\":\"Camera " + n + " v" + v
        + "\",\"imageRect\":[0,0,1920,1080],\"properties\":["
          "{\"id\":\"0x1001\",\"kind\":\"string\",\"idName\":\"Name\",\"value\":\"Camera "
        + n + " v" + v
        + "\"},"
          "{\"id\":\"0x1002\",\"kind\":\"string\",\"idName\":\"Model\",\"value\":\"DomeCam D200\"},"
          "{\"id\":\"0x1003\",\"kind\":\"string\",\"idName\":\"Firmware\",\"value\":\"2.4."
        + v
        + "\"},"
          "{\"id\":\"0x2001\",\"kind\":\"bool\",\"idName\":\"StatusLed\",\"value\":"
        + (variant % 2 ? "true" : "false")
        + "},"
          "{\"id\":\"0x2002\",\"kind\":\"bool\",\"idName\":\"Mirror\",\"value\":false},"
          "{\"id\":\"0x3001\",\"kind\":\"stringOptions\",\"idName\":\"WideDynamicRange\","
          "\"values\":[\"off\",\"on\"],\"selected\":"
        + QByteArray::number(i % 2)
        + "},"
          "{\"id\":\"0x3002\",\"kind\":\"stringOptions\",\"idName\":\"Resolution\","
          "\"values\":[\"1280x720\",\"1920x1080\"],\"selected\":1},"
          "{\"id\":\"0x3003\",\"kind\":\"stringOptions\",\"idName\":\"Codec\","
          "\"values\":[\"h264\",\"mjpeg\"],\"selected\":0},"
          "{\"id\":\"0x4001\",\"kind\":\"doubleOptions\",\"idName\":\"FrameRate\","
          "\"values\":[5,10,12.5,15,25,30],\"selected\":"
        + QByteArray::number(i % 6)
        + "},"
          "{\"id\":\"0x1010\",\"kind\":\"long\",\"idName\":\"Compression\",\"value\":"
        + QByteArray::number((i + variant) % 101)
        + ",\"min\":0,\"max\":100},"
          "{\"id\":\"0x1011\",\"kind\":\"long\",\"idName\":\"HttpPort\",\"value\":"
        + port
        + ",\"min\":1,\"max\":65535},"
          "{\"id\":\"0x4101\",\"kind\":\"longOptions\",\"idName\":\"KeyFrameInterval\","
          "\"values\":[1,10,25,50,100],\"selected\":2},"
          "{\"id\":\"0x5001\",\"kind\":\"stringMultiOptions\",\"idName\":\"Events\","
          "\"values\":[\"motion\",\"tamper\",\"input1\",\"output1\"],\"selected\":[0,2]},"
          "{\"id\":\"0x6001\",\"kind\":\"stringList\",\"idName\":\"AlarmReceivers\","
          "\"value\":[\"127.0.0.1:"
        + port
        + "\",\"192.168.0.20:8000\"]}],"
          "\"enabledEvents\":[\"motion\",\"tamper\",\"input1\"],"
          "\"configurableEvents\":[\"motion\",\"tamper\",\"input1\"],"
          "\"exposureWindows\":[{\"rect\":[200,150,899,649],\"excluded\":false},"
          "{\"rect\":[1300,100,1799,399],\"excluded\":true}],"
          "\"motionWindows\":[{\"rect\":[100,500,799,999],\"set\":1,\"reference\":false,"
          "\"sensitivity\":20,\"minThreshold\":25,\"maxThreshold\":100}]}");
}

// A node-database document of `count` generated cameras (cam-0 ...).
inline QByteArray cameraDocument(int count, int variant = 0)
{
    QByteArray out;
    out.reserve(qsizetype(count) * 2000 + 32);
    out.append("{\"nodes\":[");
    for (int i = 0; i < count; ++i) {
        if (i > 0)
            out.append(',');
        appendCamera(&out, i, variant);
    }
    out.append("]}");
    return out;
}

// A compact JSON text laid out as the node database saves documents: each
// member and element on a line of its own, indented by four spaces a level,
// a space after each colon.
inline QByteArray indented(const QByteArray& compact)
{
    QByteArray out;
    out.reserve(compact.size() * 3);
    int depth = 0;
    bool inString = false;
    const auto newLine = [&] {
        out.append('\n');
        out.append(QByteArray(depth * 4, ' '));
    };
    for (int i = 0; i < compact.size(); ++i) {
        const char c = compact.at(i);
        if (inString) {
            out.append(c);
            if (c == '\\')
                out.append(compact.at(++i));
            else if (c == '"')
                inString = false;
            continue;
        }
        switch (c) {
        case '"':
            inString = true;
            out.append(c);
            break;
        case '{':
        case '[':
            out.append(c);
            ++depth;
            newLine();
            break;
        case '}':
        case ']':
            --depth;
            newLine();
            out.append(c);
            break;
        case ',':
            out.append(c);
            newLine();
            break;
        case ':':
            out.append(": ");
            break;
        default:
            out.append(c);
        }
    }
    return out;
}

// The process's peak resident memory so far (VmHWM), in bytes; -1 where
// /proc does not tell.
inline qint64 peakResidentBytes()
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly | QIODevice::Text))
        return -1;
    for (const QByteArray& line : status.readAll().split('\n')) {
        if (line.startsWith("VmHWM:"))
            return line.mid(6).trimmed().split(' ').value(0).toLongLong() * 1024;
    }
    return -1;
}

// The first argument that makes the suite's executable play a child's role
// instead of running its tests.
inline const char* childRoleFlag() { return "--child"; }

// Starts the suite's own executable as a child playing `role` with the
// arguments given; false when it did not start within 30 s.
inline bool startChild(QProcess* child, const QString& role, const QStringList& arguments)
{
    child->setProcessChannelMode(QProcess::SeparateChannels);
    child->start(QCoreApplication::applicationFilePath(),
        QStringList { QString::fromLatin1(childRoleFlag()), role } + arguments);
    return child->waitForStarted(30000);
}

// Whether the suite was started as a child: then `role` and `arguments` are
// what the parent gave it.
inline bool isChild(int argc, char** argv, QString* role, QStringList* arguments)
{
    if (argc < 3 || qstrcmp(argv[1], childRoleFlag()) != 0)
        return false;
    *role = QString::fromLocal8Bit(argv[2]);
    for (int i = 3; i < argc; ++i)
        arguments->append(QString::fromLocal8Bit(argv[i]));
    return true;
}

// The main function of a suite whose executable also plays a child: run
// with `--child ROLE ...` it calls `child` with the arguments after ROLE when
// ROLE is `role` (and exits with 2 for any other), else it runs the suite.
template <class Suite> int suiteMain(int argc, char** argv, const char* role, int (*child)(const QStringList&))
{
    QCoreApplication app(argc, argv);
    QString asked;
    QStringList arguments;
    if (isChild(argc, argv, &asked, &arguments))
        return asked == QLatin1String(role) ? child(arguments) : 2;
    Suite suite;
    return QTest::qExec(&suite, argc, argv);
}

} // namespace doctest
