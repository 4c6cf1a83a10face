// Widget markers, highlighting, availability and the enabled state of
// entries.
#include "propertywidgets/PropertyWidgets_p.h"

#include <QBrush>
#include <QComboBox>
#include <QCoreApplication>
#include <QFont>
#include <QListWidget>
#include <QPalette>
#include <QStandardItemModel>
#include <QWidget>

#include <cmath>
#include <limits>

namespace kq {

namespace {
    QStandardItem* comboItem(const QComboBox* box, int index)
    {
        if (!box || index < 0)
            return nullptr;
        const auto* model = qobject_cast<const QStandardItemModel*>(box->model());
        return model ? model->item(index, 0) : nullptr;
    }

    void storeItemFont(QListWidgetItem* item, QFont font, QFont::Weight weight, QFont::Style style)
    {
        font.setWeight(weight);
        font.setStyle(style);
        item->setData(Qt::FontRole, font);
    }
}

double multiplierOf(const QObject* widget)
{
    const double multiplier = widget ? widget->property(markers::Multiplier).toDouble() : 0.0;
    return multiplier > 0.0 ? multiplier : 1.0;
}

int truncatedInt(double value)
{
    if (std::isnan(value))
        return 0;
    if (value >= double(std::numeric_limits<int>::max()))
        return std::numeric_limits<int>::max();
    if (value <= double(std::numeric_limits<int>::min()))
        return std::numeric_limits<int>::min();
    return int(value);
}

void removeBindingMarkers(QObject* widget)
{
    widget->setProperty(markers::PropertyId, QVariant());
    widget->setProperty(markers::Initialized, QVariant());
}

bool isInitialized(const QObject* widget) { return widget->property(markers::Initialized).toBool(); }

void markInitialized(QObject* widget) { widget->setProperty(markers::Initialized, true); }

void storePropertyId(QObject* widget, const kq::Property* property)
{
    // Kept as a 64-bit integer variant; readers take it back with toInt().
    widget->setProperty(markers::PropertyId, qlonglong(property->id()));
}

bool requireProperty(QWidget* widget, const kq::Property* property)
{
    if (!widget)
        return false;
    if (!property) {
        setEnabled(widget, false);
        return false;
    }
    return true;
}

bool bindProperty(QWidget* widget, const kq::Property* property)
{
    if (!requireProperty(widget, property))
        return false;
    storePropertyId(widget, property);
    return true;
}

QFont itemFont(const QListWidgetItem* item) { return qvariant_cast<QFont>(item->data(Qt::FontRole)); }

bool isBold(const QFont& font) { return font.weight() > QFont::Normal; }

void highlight(QWidget* w, bool on)
{
    if (!w)
        return;
    const QVariant oldFont = w->property(markers::OldFont);
    const QVariant oldPalette = w->property(markers::OldPalette);
    if (on) {
        QFont font = w->font();
        QPalette palette = w->palette();
        // Only the first highlight records what to go back to.
        if (!oldFont.isValid())
            w->setProperty(markers::OldFont, font);
        if (!oldPalette.isValid())
            w->setProperty(markers::OldPalette, palette);
        font.setWeight(QFont::Bold);
        palette.setBrush(QPalette::All, QPalette::WindowText, QBrush(Qt::red, Qt::SolidPattern));
        w->setFont(font);
        w->setPalette(palette);
        return;
    }
    if (oldFont.isValid()) {
        w->setFont(qvariant_cast<QFont>(oldFont));
        w->setProperty(markers::OldFont, QVariant());
    }
    if (oldPalette.isValid()) {
        w->setPalette(qvariant_cast<QPalette>(oldPalette));
        w->setProperty(markers::OldPalette, QVariant());
    }
}

void setEnabled(QWidget* w, bool enable)
{
    if (!w)
        return;
    const QVariant oldTooltip = w->property(markers::OldTooltip);
    if (enable) {
        if (oldTooltip.isValid())
            w->setToolTip(oldTooltip.toString());
        w->setProperty(markers::OldTooltip, QVariant());
    } else {
        // Disabling twice must not lose the tool tip from before the first.
        if (!oldTooltip.isValid())
            w->setProperty(markers::OldTooltip, w->toolTip());
        w->setToolTip(QCoreApplication::translate(
            "ConfigDialog", "This feature is not available for the connected camera."));
    }
    w->setEnabled(enable);
}

bool isEnabled(const QListWidgetItem* item) { return item && item->flags().testFlag(Qt::ItemIsEnabled); }

void setEnabled(QListWidgetItem* item, bool enable)
{
    if (!item)
        return;
    const Qt::ItemFlags flags
        = enable ? item->flags() | Qt::ItemIsEnabled : item->flags() & ~Qt::ItemIsEnabled;
    // QListWidgetItem::setFlags announces a change even when there is none;
    // merging many nodes would announce every entry once per node.
    if (flags != item->flags())
        item->setFlags(flags);
}

bool isEnabled(const QListWidget* list, int row) { return list && isEnabled(list->item(row)); }

bool isEnabled(const QListWidget* list, const QString& value) { return isEnabled(findItem(list, value)); }

void setEnabled(QListWidget* list, const QString& value, bool enable)
{
    setEnabled(findItem(list, value), enable);
}

void setEnabled(QComboBox* box, int index, bool enable)
{
    // Setting an item's flags to what they are changes nothing but costs a
    // pass through the item's data; merging many nodes would pay it for
    // every entry and node.
    QStandardItem* item = comboItem(box, index);
    if (item && item->isEnabled() != enable)
        item->setEnabled(enable);
}

void setEnabled(QComboBox* box, double value, bool enable)
{
    if (box)
        setEnabled(box, findData(box, value), enable);
}

void setEnabled(QComboBox* box, const QString& value, bool enable)
{
    if (box)
        setEnabled(box, findData(box, value), enable);
}

bool isEnabled(const QComboBox* box, int index)
{
    const QStandardItem* item = comboItem(box, index);
    return item && item->flags().testFlag(Qt::ItemIsEnabled);
}

bool isEnabled(const QComboBox* box, const QString& value)
{
    return box && isEnabled(box, findData(box, value));
}

void markEnabled(QListWidget* list, const QVector<QString>& enabled)
{
    if (!list)
        return;
    forEachItemExceptAE(list, [&](QListWidgetItem* item, const QString& value) {
        if (indexOf(enabled, value) >= 0)
            storeItemFont(item, itemFont(item), QFont::Bold, QFont::StyleNormal);
    });
}

void mergeMarkedEnabled(QListWidget* list, const QVector<QString>& enabled)
{
    if (!list)
        return;
    forEachItemExceptAE(list, [&](QListWidgetItem* item, const QString& value) {
        const QFont font = itemFont(item);
        if (!isEnabled(item)) {
            storeItemFont(item, font, QFont::Normal, QFont::StyleNormal);
            return;
        }
        // Italic marks a value active on some of the nodes but not on all.
        const bool activeHere = indexOf(enabled, value) >= 0;
        if (activeHere ? !isBold(font) : isBold(font))
            storeItemFont(item, font, QFont::Normal, QFont::StyleItalic);
    });
}

} // namespace kq
