// Test support: where two pictures differ, pixel for pixel.
#pragma once

#include <QImage>
#include <QString>

namespace kqtest {

// The first pixel, row by row, in which actual differs from expected, with
// both values ("pixel (x,y) is AARRGGBB, <what> AARRGGBB"); empty when the
// pictures are the same. what: how expected was made.
inline QString pixelDifference(const QImage& actual, const QImage& expected, const QString& what)
{
    if (actual.size() != expected.size())
        return QStringLiteral("the picture is %1 x %2, %3 %4 x %5")
            .arg(actual.width())
            .arg(actual.height())
            .arg(what)
            .arg(expected.width())
            .arg(expected.height());
    if (actual == expected)
        return QString();
    for (int y = 0; y < actual.height(); ++y) {
        for (int x = 0; x < actual.width(); ++x) {
            if (actual.pixel(x, y) != expected.pixel(x, y))
                return QStringLiteral("pixel (%1,%2) is %3, %4 %5")
                    .arg(x)
                    .arg(y)
                    .arg(actual.pixel(x, y), 8, 16, QLatin1Char('0'))
                    .arg(what)
                    .arg(expected.pixel(x, y), 8, 16, QLatin1Char('0'));
        }
    }
    return QString(); // the same pixels in another format
}

} // namespace kqtest
