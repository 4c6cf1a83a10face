// Process-wide logger of the client platform.
//
// One log statement is one line: lock LogQt::mutex(), ask getStream(level) for
// the stream (null means no output), write only when logLevel() is not above
// the statement's level, save the stream's number flags, write pre(level),
// the pieces and endl, restore the flags, unlock. kq::logLine() does exactly
// that, so callers never repeat the protocol.
#pragma once

#include <kq/kqplatform_export.h>

#include <QString>
#include <QTextStream>

#include <mutex>

class QIODevice;

namespace kq {

namespace Log {
    // Statement levels. The threshold admits a statement when it is not
    // above the statement's level.
    enum ELevel : int {
        Trace = 0,
        Debug = 1,
        Info = 2,
        Warning = 3,
        Error = 4,
        Fatal = 5,
    };
}

class KQPLATFORM_EXPORT Mutex {
public:
    void lock() { m_mutex.lock(); }
    void unlock() { m_mutex.unlock(); }

private:
    std::recursive_mutex m_mutex;
};

class KQPLATFORM_EXPORT MutexLocker {
public:
    explicit MutexLocker(Mutex& mutex)
        : m_mutex(mutex)
    {
        m_mutex.lock();
    }
    ~MutexLocker() { m_mutex.unlock(); }
    MutexLocker(const MutexLocker&) = delete;
    MutexLocker& operator=(const MutexLocker&) = delete;

private:
    Mutex& m_mutex;
};

class KQPLATFORM_EXPORT LogQt {
public:
    // The one lock of the process: held for one log statement at a time.
    static Mutex& mutex();

    // The stream for a statement of the given level, or null when there is
    // no output for it. Call with mutex() held.
    static QTextStream* getStream(Log::ELevel level);

    // The configured threshold. Defaults to 2 (Info); the environment
    // variable KQ_LOG_LEVEL, read once at first use, overrides the default.
    static int logLevel();
    static void setLogLevel(int level);

    // Where lines go: null (the default) means standard error. The device is
    // not owned and must outlive its use; it is opened for writing if needed.
    static void setDevice(QIODevice* device);

    // The line prefix: time stamp and level name, ending in a blank.
    static QString pre(Log::ELevel level);
};

namespace detail {
    inline void streamPieces(QTextStream&) { }
    template <class First, class... Rest>
    void streamPieces(QTextStream& s, const First& first, const Rest&... rest)
    {
        s << first;
        streamPieces(s, rest...);
    }
}

// Writes one log line made of the pieces, following the statement protocol.
template <class... Pieces>
void logLine(Log::ELevel level, const Pieces&... pieces)
{
    MutexLocker locker(LogQt::mutex());
    QTextStream* s = LogQt::getStream(level);
    if (!s || LogQt::logLevel() > level)
        return;
    const QTextStream::NumberFlags flags = s->numberFlags();
    *s << LogQt::pre(level);
    detail::streamPieces(*s, pieces...);
    *s << Qt::endl;
    s->setNumberFlags(flags);
}

} // namespace kq
