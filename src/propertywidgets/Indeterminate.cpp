// The indeterminate state: how a widget shows that the edited nodes disagree,
// and how the write-back recognises it.
#include "propertywidgets/PropertyWidgets_p.h"

#include <QCheckBox>
#include <QComboBox>
#include <QCoreApplication>
#include <QDoubleSpinBox>
#include <QIcon>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QSpinBox>

namespace kq {

const QVariant IDETERMINATE_VALUE;

namespace {
    template <class SpinBox> void setSpinBoxIndeterminate(SpinBox* box)
    {
        if (!box)
            return;
        box->setSpecialValueText(multipleValuesText());
        box->setValue(box->minimum());
    }

    template <class SpinBox> bool isSpinBoxIndeterminate(const SpinBox* box)
    {
        return box && box->value() == box->minimum() && box->specialValueText() == multipleValuesText();
    }
}

QString multipleValuesText() { return QCoreApplication::translate("Statics", "<Multiple Values>"); }

bool isIndeterminate(const QVariant& value) { return !value.isValid(); }

bool isIndeterminate(const QString& text) { return text == multipleValuesText(); }

void setIndeterminate(QCheckBox* box)
{
    if (!box)
        return;
    box->setTristate(true);
    box->setCheckState(Qt::PartiallyChecked);
}

bool isIndeterminate(const QCheckBox* box) { return box && box->checkState() == Qt::PartiallyChecked; }

void setIndeterminate(QListWidgetItem* item)
{
    if (!item)
        return;
    // Flags are only set when they change: QListWidgetItem::setFlags
    // announces a change even when there is none.
    if (!item->flags().testFlag(Qt::ItemIsAutoTristate))
        item->setFlags(item->flags() | Qt::ItemIsAutoTristate);
    item->setData(Qt::CheckStateRole, int(Qt::PartiallyChecked));
}

bool isIndeterminate(const QListWidgetItem* item)
{
    return item && item->data(Qt::CheckStateRole).toInt() == Qt::PartiallyChecked;
}

void setIndeterminate(QListWidget* list, const QString& value) { setIndeterminate(findItem(list, value)); }

bool isIndeterminate(const QListWidget* list, const QString& value)
{
    return isIndeterminate(findItem(list, value));
}

void setIndeterminate(QComboBox* box)
{
    if (!box)
        return;
    // Any entry without raw value at the top already does the marker's job.
    if (findData(box, IDETERMINATE_VALUE) < 0) {
        box->insertSeparator(0);
        box->insertItem(
            0, QIcon(), QCoreApplication::translate("Properties", "<Multiple Values>"), IDETERMINATE_VALUE);
    }
    box->setCurrentIndex(0);
}

bool isIndeterminate(const QComboBox* box)
{
    return box && isIndeterminate(box->itemData(box->currentIndex(), Qt::UserRole));
}

void setIndeterminate(QSpinBox* box) { setSpinBoxIndeterminate(box); }

bool isIndeterminate(const QSpinBox* box) { return isSpinBoxIndeterminate(box); }

void setIndeterminate(QDoubleSpinBox* box) { setSpinBoxIndeterminate(box); }

bool isIndeterminate(const QDoubleSpinBox* box) { return isSpinBoxIndeterminate(box); }

void setIndeterminate(QLineEdit* edit)
{
    if (edit)
        edit->setText(multipleValuesText());
}

bool isIndeterminate(const QLineEdit* edit) { return edit && isIndeterminate(edit->text()); }

void setIndeterminate(QLabel* label)
{
    if (label)
        label->setText(multipleValuesText());
}

bool isIndeterminate(const QLabel* label) { return label && isIndeterminate(label->text()); }

} // namespace kq
