// Event lists: which camera events the client reacts to (check state), which
// are enabled on the camera (bold font) and which cannot be configured here.
#include "propertywidgets/PropertyWidgets_p.h"

#include <QCoreApplication>
#include <QListWidget>

namespace kq {

namespace {
    int checkState(const QListWidgetItem* item) { return item->data(Qt::CheckStateRole).toInt(); }

    void setItemWeight(QListWidgetItem* item, QFont font, QFont::Weight weight)
    {
        font.setWeight(weight);
        item->setData(Qt::FontRole, font);
    }
}

void setListToolTip(QListWidget* list)
{
    if (!list)
        return;
    for (int row = 0; row < list->count(); ++row) {
        QListWidgetItem* item = list->item(row);
        const bool enabledOnCamera = isBold(itemFont(item));
        const bool checked = checkState(item) == Qt::Checked;
        // Warn exactly where a click has an effect on the camera that the
        // list does not undo.
        if (enabledOnCamera && checked)
            item->setToolTip(QCoreApplication::translate(
                "Statics", "Deselection of this event will not deactivate the corresponding event."));
        else if (!enabledOnCamera && !checked)
            item->setToolTip(QCoreApplication::translate("Statics",
                "Caution: Selecting this event it will activate the corresponding event on the camera(s)!"));
    }
}

void updateEventListWidget(
    QListWidget* list, const kq::TMultiOptions<QString>& option, const QVector<QString>& enabledEvents)
{
    if (!list)
        return;
    if (!isInitialized(list)) {
        setValueRange(list, option);
        markEnabled(list, enabledEvents);
        markInitialized(list);
        setPropertyValue(list, option);
        setListToolTip(list);
        return;
    }
    mergeValueRange(list, option);
    mergeMarkedEnabled(list, enabledEvents);
    mergePropertyValue(list, option);
    for (int row = 0; row < list->count(); ++row) {
        QListWidgetItem* item = list->item(row);
        const QFont font = itemFont(item);
        // Events enabled on none of the cameras (plain font) are not
        // selected; nor is any event this camera does not have enabled.
        const bool enabledOnNone = !isBold(font) && font.style() == QFont::StyleNormal;
        if (enabledOnNone || indexOf(enabledEvents, propertyValue(item)) < 0)
            item->setCheckState(Qt::Unchecked);
    }
}

void updateEventListWidget(
    QListWidget* list, const kq::StringMultiOptionsProperty* property, const QVector<QString>& enabledEvents)
{
    if (bindProperty(list, property))
        updateEventListWidget(list, property->value(), enabledEvents);
}

void updateEventListWidget(QListWidget* list, ConstNodeConfigSessionHandle session,
    kq::EStringMultiOptionsProperty id, const QVector<QString>& enabledEvents)
{
    const kq::StringMultiOptionsProperty* property = offeredProperty(session, id);
    if (requireProperty(list, property))
        updateEventListWidget(list, property, enabledEvents);
}

void markEnabledEvents(QListWidget* list, QVector<QString>& enabledEvents)
{
    if (!list || !isInitialized(list))
        return;
    forEachItemExceptAE(list, [&](QListWidgetItem* item, const QString& value) {
        const int state = checkState(item);
        if (indexOf(enabledEvents, value) >= 0) {
            if (state == Qt::Checked)
                setItemWeight(item, itemFont(item), QFont::Bold);
            return;
        }
        const QFont font = itemFont(item);
        if (isBold(font))
            setItemWeight(item, font, QFont::Normal);
        // A disabled item cannot be changed by the user, so it keeps its state.
        if ((state == Qt::Checked || state == Qt::PartiallyChecked) && isEnabled(item))
            item->setCheckState(Qt::Unchecked);
    });
}

void disableEventListWidgetItems(QListWidget* list, const QVector<QString>& configurable)
{
    if (!list)
        return;
    forEachItemExceptAE(list, [&](QListWidgetItem* item, const QString& value) {
        const bool canConfigure = indexOf(configurable, value) >= 0;
        setEnabled(item, canConfigure);
        if (!canConfigure)
            item->setToolTip(QCoreApplication::translate(
                "Statics", "Caution: Item not configurable. Please configure camera via browser!"));
    });
}

} // namespace kq
