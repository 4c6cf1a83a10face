// Single-value widgets: the state a user can change is one or two values
// (current entry, check state, number, text), compared with the snapshot as
// they are.

#include "ChangeTracker_p.h"
#include "propertywidgets/PropertyWidgets_p.h"

#include <ConfigDialogs/PropertyWidgets.h>

#include <QCheckBox>
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QEvent>
#include <QKeyEvent>
#include <QLineEdit>
#include <QListWidget>
#include <QRadioButton>
#include <QSpinBox>

namespace kqgui {

namespace {

    enum class Kind { ComboBox, CheckBox, SpinBox, DoubleSpinBox, RadioButton, LineEdit, ListWidget };

    bool kindOf(const QWidget* widget, Kind* kind)
    {
        // Radio buttons and check boxes are both buttons: ask for each class.
        if (qobject_cast<const QComboBox*>(widget))
            *kind = Kind::ComboBox;
        else if (qobject_cast<const QCheckBox*>(widget))
            *kind = Kind::CheckBox;
        else if (qobject_cast<const QSpinBox*>(widget))
            *kind = Kind::SpinBox;
        else if (qobject_cast<const QDoubleSpinBox*>(widget))
            *kind = Kind::DoubleSpinBox;
        else if (qobject_cast<const QRadioButton*>(widget))
            *kind = Kind::RadioButton;
        else if (qobject_cast<const QLineEdit*>(widget))
            *kind = Kind::LineEdit;
        else if (qobject_cast<const QListWidget*>(widget))
            *kind = Kind::ListWidget;
        else
            return false;
        return true;
    }

    // A list's check states, row by row, with the raw value each row holds.
    QVariantList listState(const QListWidget* list)
    {
        QVariantList state;
        state.reserve(2 * list->count());
        for (int row = 0; row < list->count(); ++row) {
            const QListWidgetItem* item = list->item(row);
            state.append(item->data(Qt::UserRole));
            state.append(item->data(Qt::CheckStateRole));
        }
        return state;
    }

    void restoreListState(QListWidget* list, const QVariantList& state)
    {
        // Rows are the dialog's; only check states are the user's.
        for (int row = 0; row < list->count() && 2 * row + 1 < state.size(); ++row) {
            QListWidgetItem* item = list->item(row);
            if (item->data(Qt::UserRole) == state.at(2 * row)
                && item->data(Qt::CheckStateRole) != state.at(2 * row + 1))
                item->setData(Qt::CheckStateRole, state.at(2 * row + 1));
        }
    }

    class TrackedWidget : public Tracked {
    public:
        TrackedWidget(QWidget* widget, Kind kind, ChangeTracker::Writer write)
            : Tracked(widget)
            , m_kind(kind)
            , m_write(std::move(write))
        {
        }

        void watch(QObject* context, const std::function<void()>& changed) override
        {
            QObject* o = object();
            switch (m_kind) {
            case Kind::ComboBox:
                QObject::connect(static_cast<QComboBox*>(o),
                    QOverload<int>::of(&QComboBox::currentIndexChanged), context, changed);
                break;
            case Kind::CheckBox:
                QObject::connect(static_cast<QCheckBox*>(o), &QCheckBox::stateChanged, context, changed);
                break;
            case Kind::SpinBox:
                QObject::connect(
                    static_cast<QSpinBox*>(o), QOverload<int>::of(&QSpinBox::valueChanged), context, changed);
                break;
            case Kind::DoubleSpinBox:
                QObject::connect(static_cast<QDoubleSpinBox*>(o),
                    QOverload<double>::of(&QDoubleSpinBox::valueChanged), context, changed);
                break;
            case Kind::RadioButton:
                QObject::connect(static_cast<QRadioButton*>(o), &QRadioButton::toggled, context, changed);
                break;
            case Kind::LineEdit:
                QObject::connect(static_cast<QLineEdit*>(o), &QLineEdit::textChanged, context, changed);
                break;
            case Kind::ListWidget: {
                // The model, not the view: dialogs often block the view's
                // signals while they fill it.
                QAbstractItemModel* model = static_cast<QListWidget*>(o)->model();
                QObject::connect(model, &QAbstractItemModel::dataChanged, context, changed);
                QObject::connect(model, &QAbstractItemModel::rowsInserted, context, changed);
                QObject::connect(model, &QAbstractItemModel::rowsRemoved, context, changed);
                QObject::connect(model, &QAbstractItemModel::modelReset, context, changed);
                break;
            }
            }
        }

        void capture() override { m_snapshot = state(); }
        bool differs() const override { return object() && state() != m_snapshot; }

        void restore() override
        {
            QObject* o = object();
            if (!o || m_snapshot.isEmpty())
                return;
            switch (m_kind) {
            case Kind::ComboBox:
                static_cast<QComboBox*>(o)->setCurrentIndex(m_snapshot.at(0).toInt());
                break;
            case Kind::CheckBox: {
                auto* box = static_cast<QCheckBox*>(o);
                box->setTristate(m_snapshot.at(1).toBool());
                box->setCheckState(Qt::CheckState(m_snapshot.at(0).toInt()));
                break;
            }
            case Kind::SpinBox:
                static_cast<QSpinBox*>(o)->setValue(m_snapshot.at(0).toInt());
                break;
            case Kind::DoubleSpinBox:
                static_cast<QDoubleSpinBox*>(o)->setValue(m_snapshot.at(0).toDouble());
                break;
            case Kind::RadioButton: {
                // Exclusivity off while setting, so that putting one button
                // back never unchecks another one of the group.
                auto* button = static_cast<QRadioButton*>(o);
                button->setAutoExclusive(false);
                button->setChecked(m_snapshot.at(0).toBool());
                button->setAutoExclusive(m_snapshot.at(1).toBool());
                break;
            }
            case Kind::LineEdit:
                static_cast<QLineEdit*>(o)->setText(m_snapshot.at(0).toString());
                break;
            case Kind::ListWidget:
                restoreListState(static_cast<QListWidget*>(o), m_snapshot);
                break;
            }
        }

        void writeNode(const QString& nodeId, const Session& session) override
        {
            if (m_write)
                m_write(nodeId, session);
        }

    private:
        QVariantList state() const
        {
            const QObject* o = object();
            if (!o)
                return {};
            switch (m_kind) {
            case Kind::ComboBox: {
                const auto* box = static_cast<const QComboBox*>(o);
                return { box->currentIndex(), box->currentData(Qt::UserRole), box->currentText() };
            }
            case Kind::CheckBox: {
                const auto* box = static_cast<const QCheckBox*>(o);
                return { int(box->checkState()), box->isTristate() };
            }
            case Kind::SpinBox:
                return { static_cast<const QSpinBox*>(o)->value() };
            case Kind::DoubleSpinBox:
                return { static_cast<const QDoubleSpinBox*>(o)->value() };
            case Kind::RadioButton: {
                const auto* button = static_cast<const QRadioButton*>(o);
                return { button->isChecked(), button->autoExclusive() };
            }
            case Kind::LineEdit:
                return { static_cast<const QLineEdit*>(o)->text() };
            case Kind::ListWidget:
                return listState(static_cast<const QListWidget*>(o));
            }
            return {};
        }

        const Kind m_kind;
        const ChangeTracker::Writer m_write;
        QVariantList m_snapshot;
    };

    // Keys that edit a line edit's text: while it shows the indeterminate
    // marker, each of them first clears it, so the marker is replaced rather
    // than extended or cut into.
    bool editsText(const QKeyEvent* key)
    {
        if (key->matches(QKeySequence::Paste) || key->matches(QKeySequence::Cut)
            || key->matches(QKeySequence::Delete) || key->matches(QKeySequence::DeleteEndOfWord)
            || key->matches(QKeySequence::DeleteStartOfWord) || key->matches(QKeySequence::DeleteEndOfLine)
            || key->matches(QKeySequence::DeleteCompleteLine))
            return true;
        if (key->key() == Qt::Key_Backspace || key->key() == Qt::Key_Delete)
            return true;
        const QString text = key->text();
        return !text.isEmpty() && text.at(0).isPrint()
            && !(key->modifiers() & (Qt::ControlModifier | Qt::MetaModifier));
    }

    class MarkerFilter : public QObject {
    public:
        static constexpr const char* kName = "kq-marker-filter";

        explicit MarkerFilter(QLineEdit* edit)
            : QObject(edit)
        {
            setObjectName(QLatin1String(kName));
            edit->installEventFilter(this);
            // Whatever way the text is edited (context menu, drop, input
            // method), the marker never stays glued to the user's text.
            connect(edit, &QLineEdit::textEdited, this, [this, edit](const QString& text) {
                const QString marker = kq::multipleValuesText();
                if (m_showedMarker && text != marker && text.contains(marker)) {
                    QString rest = text;
                    rest.remove(marker);
                    edit->setText(rest);
                }
                m_showedMarker = kq::isIndeterminate(edit);
            });
            connect(edit, &QLineEdit::textChanged, this,
                [this, edit] { m_showedMarker = kq::isIndeterminate(edit); });
            m_showedMarker = kq::isIndeterminate(edit);
        }

    protected:
        bool eventFilter(QObject* watched, QEvent* event) override
        {
            auto* edit = static_cast<QLineEdit*>(watched);
            const QEvent::Type type = event->type();
            if ((type == QEvent::KeyPress && editsText(static_cast<QKeyEvent*>(event)))
                || type == QEvent::InputMethod || type == QEvent::Drop) {
                if (!edit->isReadOnly() && kq::isIndeterminate(edit)) {
                    edit->clear();
                    // Backspace and the deletions have done their work.
                    if (type == QEvent::KeyPress) {
                        const auto* key = static_cast<QKeyEvent*>(event);
                        if (key->key() == Qt::Key_Backspace || key->key() == Qt::Key_Delete
                            || key->matches(QKeySequence::Cut))
                            return true;
                    }
                }
            }
            return QObject::eventFilter(watched, event);
        }

    private:
        bool m_showedMarker = false;
    };

} // namespace

std::unique_ptr<Tracked> trackWidget(QWidget* widget, const ChangeTracker::Writer& write)
{
    Kind kind;
    if (!widget || !kindOf(widget, &kind))
        return nullptr;
    return std::unique_ptr<Tracked>(new TrackedWidget(widget, kind, write));
}

std::unique_ptr<Tracked> trackMarkerLineEdit(QLineEdit* edit, const ChangeTracker::Writer& write)
{
    if (!edit)
        return nullptr;
    // One filter per line edit, however often it is registered.
    if (!edit->findChild<QObject*>(QLatin1String(MarkerFilter::kName), Qt::FindDirectChildrenOnly))
        new MarkerFilter(edit);
    return trackWidget(edit, write);
}

} // namespace kqgui
