// Texts and small helpers shared by the property-widget test suites.
#pragma once

#include <QCoreApplication>
#include <QString>
#include <QVector>

namespace pwtest {

inline const QString kNotAvailable
    = QStringLiteral("This feature is not available for the connected camera.");
inline const QString kSelectWarning = QStringLiteral(
    "Caution: Selecting this event it will activate the corresponding event on the camera(s)!");
inline const QString kDeselectNote
    = QStringLiteral("Deselection of this event will not deactivate the corresponding event.");
inline const QString kNotConfigurable
    = QStringLiteral("Caution: Item not configurable. Please configure camera via browser!");

// "<Multiple Values>" as spin boxes, line edits and labels show it.
inline QString staticsMarker() { return QCoreApplication::translate("Statics", "<Multiple Values>"); }

// "a,b,c" as a vector of values; the empty text gives no values.
inline QVector<QString> strings(const QString& commaSeparated)
{
    QVector<QString> result;
    if (commaSeparated.isEmpty())
        return result;
    for (const QString& s : commaSeparated.split(QLatin1Char(',')))
        result.append(s);
    return result;
}

} // namespace pwtest
