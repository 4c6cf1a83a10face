// Column sizing of the IP/port tree: the widths Qt's resizeColumnToContents()
// gives, with every row measured once rather than a thousand rows per call.
#pragma once

#include "common/ModelFollower_p.h"

#include <QFont>
#include <QHash>
#include <QMetaObject>
#include <QSet>
#include <QSize>
#include <QStyleOptionViewItem>
#include <QVector>

#include <vector>

class QStyle;
class QTreeWidget;

namespace kqgui {
namespace ipport {

    // Sizes measured for cells of one tree, so that cells that look the same
    // are laid out at most twice: the port column repeats a handful of
    // values over thousands of rows, and entries shared by many nodes repeat
    // too. Two cells look the same when every field of their style option
    // but the model index agrees: Qt's styles size a cell from those fields
    // alone. The owner clears the memo when the style may size differently
    // (another style, a style sheet changed).
    class SizeMemo {
    public:
        SizeMemo() = default;
        SizeMemo(const SizeMemo&) = delete;
        SizeMemo& operator=(const SizeMemo&) = delete;

        // While it lives, the delegate consults `memo` for the cells of
        // `view` (and only for those).
        class Use {
        public:
            Use(SizeMemo& memo, const QWidget* view);
            ~Use();
            Use(const Use&) = delete;
            Use& operator=(const Use&) = delete;

        private:
            SizeMemo* m_outer;
            const QWidget* m_outerView;
        };

        // The memo in use for `view`, or null.
        static SizeMemo* activeFor(const QWidget* view);

        // The size measured for a cell that looks like `option`, or null.
        const QSize* find(const QStyleOptionViewItem& option) const;
        // Takes note of a measured cell. Most cells of an address column
        // look like no other, so a look is kept only from its second cell
        // on: the first leaves its key, which costs no copy of the option.
        void insert(const QStyleOptionViewItem& option, QSize size);
        void clear();

        // Whether a style sizes the two options alike: they agree in every
        // field but the model index.
        static bool sameLook(const QStyleOptionViewItem& a, const QStyleOptionViewItem& b);

    private:
        struct Measured {
            QStyleOptionViewItem option;
            QSize size;
        };

        static uint keyOf(const QStyleOptionViewItem& option);
        static uint resolveMask(const QFont& font);

        static SizeMemo* s_active;
        static const QWidget* s_activeView;
        QSet<uint> m_keysSeen;
        QHash<uint, QVector<Measured>> m_sizes;
    };

    // Sizes the tree's address and port columns as resizeColumnToContents()
    // on both and then widening the address column by 20 pixels would, but
    // without measuring the same rows again on every call: each row's cell
    // widths are kept from when it was first measured until its data, the
    // tree's look (style, fonts, icon size, indentation, delegates) or the
    // rows change. Loading many nodes one by one then costs one measurement
    // per row, where Qt's sizing measures up to a thousand rows per column
    // on every call.
    //
    // Which rows Qt measures (logged on Qt 5.15 and 6.4):
    // QTreeView::sizeHintForColumn() takes the rows in view, then their
    // neighbours, one above and one below in turn, until it has measured
    // QHeaderView::resizeContentsPrecision() of them (1000 unless set),
    // counting the last row in view twice; when the last row is in view, it
    // takes the precision rows before the last row instead. With fewer rows
    // than the precision that is every row; with the view at the top and
    // more rows than fit in it, the first precision - 1 rows. Those two cases
    // are measured here; in any other (scrolled with many rows, rows hidden,
    // spanned or below other rows, editors kept open, a subclass of the tree,
    // a header that laying the view out would widen or narrow) Qt's own
    // sizing runs, with the memo. A delegate set on a row after the row was
    // measured is noticed when the row is measured again: Qt announces it to
    // nobody.
    class ColumnSizer : public kq::ModelFollower {
    public:
        explicit ColumnSizer(QTreeWidget* tree);

        // `flat`: no row has rows below it. `exact`: the tree is of its own
        // class, not a subclass that might size cells its own way.
        void sizeColumns(bool flat, bool exact);

    protected:
        bool eventFilter(QObject* watched, QEvent* event) override;

    private:
        struct Row {
            int width[2] = { -1, -1 }; // -1: not measured
            int height[2] = { 0, 0 };
        };
        // What every cell's measurement depends on besides its own data.
        struct Look {
            QStyleOptionViewItem option; // the view's option for all cells
            const QStyle* style = nullptr;
            QVector<const QObject*> delegates; // the view's and the columns'
            int treeColumn = 0; // the column drawn with the tree's indentation
            int indent = 0; // the indentation of a top-level row there
        };
        // The leading rows taken in so far: their widest cells and their
        // height at least, with the columns shown when they were summed.
        struct Summary {
            int rows = 0;
            int widest[2] = { 0, 0 };
            qint64 height = 0;
            bool hidden[2] = { false, false };
        };
        // What the header's size hint for a section depends on, besides
        // the header's texts.
        struct HeaderLook {
            QFont font;
            const QStyle* style = nullptr;
            bool sortIndicator = false;
            int minimum = 0;
            int maximum = 0;
            bool hidden[2] = { false, false };
        };

        Look currentLook() const;
        void followLook();
        bool viewLaidOut() const;
        int rowsToMeasure(bool flat, bool exact);
        bool viewKeepsRowsApart() const;
        int lowestHeight(const Row& row) const;
        void measure(int row);
        void forget(int firstRow, int lastRow);
        int headerHint(int column);
        bool resizeToContents(int column, int contents);

        void rebuild() override;
        bool modelOutOfStep() const override;
        void onRowsInserted(const QModelIndex& parent, int first, int last) override;
        void onRowsRemoved(const QModelIndex& parent, int first, int last) override;
        void onDataChanged(
            const QModelIndex& topLeft, const QModelIndex& bottomRight, const QVector<int>& roles) override;

        QTreeWidget* m_tree;
        std::vector<Row> m_rows;
        Summary m_summary;
        SizeMemo m_memo;
        Look m_look;
        bool m_lookKnown = false;
        QVector<QMetaObject::Connection> m_delegateConnections;
        HeaderLook m_headerLook;
        int m_headerHint[2] = { -1, -1 }; // -1: not known
        QSize m_laidOutSize; // the tree's size when Qt's sizing last laid it out
        bool m_rowsMoved = true; // rows came or went since Qt's sizing last ran
    };

} // namespace ipport
} // namespace kqgui
