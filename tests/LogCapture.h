// Test support: captures the platform logger's output.
#pragma once

#include <kq/Log.h>

#include <QBuffer>
#include <QStringList>

namespace kqtest {

// Captures the logger's output and hands back the lines without their prefix.
class LogCapture {
public:
    explicit LogCapture(int level = kq::Log::Trace)
    {
        m_buffer.open(QIODevice::WriteOnly);
        m_oldLevel = kq::LogQt::logLevel();
        kq::LogQt::setLogLevel(level);
        kq::LogQt::setDevice(&m_buffer);
    }
    ~LogCapture()
    {
        kq::LogQt::setDevice(nullptr);
        kq::LogQt::setLogLevel(m_oldLevel);
    }

    // The lines written so far; each one's prefix (time and level) is
    // checked against the level it was written at and then cut off.
    QStringList lines(QList<int>* levels = nullptr)
    {
        kq::LogQt::getStream(kq::Log::Info)->flush();
        const QString text = QString::fromUtf8(m_buffer.data());
        QStringList result;
        const QStringList raw = text.split(QLatin1Char('\n'));
        for (int i = 0; i + 1 < raw.size() || (i < raw.size() && !raw.at(i).isEmpty()); ++i) {
            const QString& line = raw.at(i);
            // "yyyy-MM-dd hh:mm:ss.zzz LEVEL text"
            const int afterTime = 24;
            const int blank = line.indexOf(QLatin1Char(' '), afterTime);
            if (blank < 0) {
                result << QStringLiteral("<bad prefix: %1>").arg(line);
                continue;
            }
            const QString level = line.mid(afterTime, blank - afterTime);
            if (levels)
                levels->append(level == QLatin1String("DEBUG") ? 1 : level == QLatin1String("WARNING") ? 3 : -1);
            result << line.mid(blank + 1);
        }
        return result;
    }

private:
    QBuffer m_buffer;
    int m_oldLevel;
};

} // namespace kqtest
