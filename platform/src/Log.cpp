#include <kq/Log.h>

#include <QDateTime>
#include <QFile>
#include <QIODevice>
#include <QPointer>

#include <cstdio>

namespace kq {

namespace {
    struct LogState {
        LogState()
        {
            bool ok = false;
            const int fromEnv = qEnvironmentVariableIntValue("KQ_LOG_LEVEL", &ok);
            level = ok ? fromEnv : 2;
            stderrFile.open(stderr, QIODevice::WriteOnly | QIODevice::Unbuffered);
            stream.setDevice(&stderrFile);
        }
        Mutex mutex;
        int level;
        QFile stderrFile;
        QTextStream stream;
    };

    LogState& state()
    {
        static LogState s;
        return s;
    }

    const char* levelName(Log::ELevel level)
    {
        switch (level) {
        case Log::Trace:
            return "TRACE";
        case Log::Debug:
            return "DEBUG";
        case Log::Info:
            return "INFO";
        case Log::Warning:
            return "WARNING";
        case Log::Error:
            return "ERROR";
        case Log::Fatal:
            return "FATAL";
        }
        return "LOG";
    }
}

Mutex& LogQt::mutex()
{
    return state().mutex;
}

QTextStream* LogQt::getStream(Log::ELevel)
{
    QTextStream& s = state().stream;
    return s.device() ? &s : nullptr;
}

int LogQt::logLevel()
{
    MutexLocker locker(mutex());
    return state().level;
}

void LogQt::setLogLevel(int level)
{
    MutexLocker locker(mutex());
    state().level = level;
}

void LogQt::setDevice(QIODevice* device)
{
    MutexLocker locker(mutex());
    LogState& s = state();
    s.stream.flush();
    if (!device) {
        s.stream.setDevice(&s.stderrFile);
        return;
    }
    if (!device->isOpen())
        device->open(QIODevice::WriteOnly | QIODevice::Text);
    s.stream.setDevice(device);
}

QString LogQt::pre(Log::ELevel level)
{
    return QDateTime::currentDateTime().toString(QStringLiteral("yyyy-MM-dd hh:mm:ss.zzz ")) + QLatin1String(levelName(level))
        + QLatin1Char(' ');
}

} // namespace kq
