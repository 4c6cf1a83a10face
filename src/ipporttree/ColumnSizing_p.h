// Column sizing of the IP/port tree: once per run of update() calls, with
// cells that look alike measured at most twice per pass.
#pragma once

#include <QHash>
#include <QObject>
#include <QSet>
#include <QSize>
#include <QStyleOptionViewItem>
#include <QVector>

class QTreeWidget;

namespace kqgui {
namespace ipport {

    // The sizes measured during one column-sizing pass of one tree, so that
    // cells that look the same are laid out at most twice: the port column
    // repeats a handful of values over thousands of rows, and entries shared
    // by many nodes repeat too. Two cells look the same when every field of
    // their style option but the model index agrees: Qt's styles size a cell
    // from those fields alone. Kept for one pass only: between passes the
    // style, the fonts or the palette may change.
    class SizeMemo {
    public:
        explicit SizeMemo(const QWidget* view);
        ~SizeMemo() { s_active = m_outer; }
        SizeMemo(const SizeMemo&) = delete;
        SizeMemo& operator=(const SizeMemo&) = delete;

        // The memo of the pass running for `view`, or null.
        static SizeMemo* activeFor(const QWidget* view);

        // The size measured for a cell that looks like `option`, or null.
        const QSize* find(const QStyleOptionViewItem& option) const;
        // Takes note of a measured cell. Most cells of an address column
        // look like no other, so a look is kept only from its second cell
        // on: the first leaves its key, which costs no copy of the option.
        void insert(const QStyleOptionViewItem& option, QSize size);

    private:
        struct Measured {
            QStyleOptionViewItem option;
            QSize size;
        };

        static uint keyOf(const QStyleOptionViewItem& option);
        static uint resolveMask(const QFont& font);
        static bool sameLook(const QStyleOptionViewItem& a, const QStyleOptionViewItem& b);

        static SizeMemo* s_active;
        const QWidget* m_view;
        SizeMemo* m_outer;
        QSet<uint> m_keysSeen;
        QHash<uint, QVector<Measured>> m_sizes;
    };

    // Sizes the tree's columns to their contents (column 0 then 20 pixels
    // wider) once a run of update() calls is over rather than after each:
    // Qt's sizing measures up to a thousand rows per column, which made
    // loading many nodes cost a sizing pass per node. The pending sizing is
    // done before anything can look at the columns: before any event reaches
    // the tree, its viewport or its header; before the model changes other
    // than by update() itself; before any other member function of the tree
    // runs; and when the event loop next runs.
    class ColumnSizer : public QObject {
    public:
        explicit ColumnSizer(QTreeWidget* tree);

        static ColumnSizer* find(const QTreeWidget* tree);
        static ColumnSizer& of(QTreeWidget* tree);
        // Does the pending sizing, if any.
        static void flush(const QTreeWidget* tree);

        // While update() runs, its own changes to the model leave the sizing
        // pending; at its end the sizing is due.
        void beginUpdate() { m_inUpdate = true; }
        void endUpdate();

        void sizeNow();

    protected:
        bool eventFilter(QObject* watched, QEvent* event) override;

    private:
        QTreeWidget* m_tree;
        bool m_pending = false;
        bool m_inUpdate = false;
    };

} // namespace ipport
} // namespace kqgui
