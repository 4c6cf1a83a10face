// The IP/port tree's state, kept behind its private pointer so that the
// installed header holds none of it.
#pragma once

#include <ConfigDialogs/IpPortTreeWidget.h>

#include "ipporttree/ColumnSizing_p.h"
#include "ipporttree/RowTable_p.h"

#include <kq/IPAddress.h>

#include <QList>
#include <QMap>
#include <QString>

namespace kqgui {

class IpPortTreeWidgetPrivate {
public:
    explicit IpPortTreeWidgetPrivate(IpPortTreeWidget* tree);

    // This computer's addresses, read once when the tree is made.
    const QList<kq::IPAddress> localAddresses;
    // Per node identifier, the entries its list held when last loaded, in
    // the list's order, duplicates kept.
    QMap<QString, QList<IpPortTreeWidget::Entry>> nodeEntries;
    int masterPort = 0;
    QTreeWidgetItem* masterItem = nullptr;
    myStyledItemDelegate delegate;
    // Both follow the tree's model from the start.
    ipport::RowTable table;
    ipport::ColumnSizer sizer;
};

} // namespace kqgui
