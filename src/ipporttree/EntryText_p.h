// Entry texts of the IP/port tree: an address, a separator (":" or "%3A") and
// a decimal port, as the nodes' list properties hold them and as the tree
// writes them; the columns and placeholders of its rows; the checks an edit
// passes.
#pragma once

#include <ConfigDialogs/IpPortTreeWidget.h>

#include <QRegularExpression>
#include <QString>
#include <QStringList>
#include <QStringView>

class QTreeWidgetItem;

namespace kqgui {
namespace ipport {

    constexpr int kAddressColumn = 0;
    constexpr int kPortColumn = 1;

    // The editor lets the user type 1..65536; the check after an edit keeps
    // 0..65534. The two ranges differ on purpose and are both kept.
    constexpr int kEditorPortMin = 1;
    constexpr int kEditorPortMax = 65536;
    constexpr int kCheckedPortMin = 0;
    constexpr int kCheckedPortMax = 65534;

    using Entry = IpPortTreeWidget::Entry;

    // Shown by a row the user has inserted but not filled in yet. Compared as
    // text, so they are not translated.
    QString ipPlaceholder();
    QString portPlaceholder();
    // Whether the row shows either placeholder.
    bool hasPlaceholder(const QTreeWidgetItem* row);

    // Four dot-separated decimal octets 0..255, leading zeros allowed up to
    // three digits. The editor's validator and the check after an edit both
    // use this one pattern.
    const QRegularExpression& ipv4Pattern();

    // The row's committed entry (Qt::UserRole of both columns).
    Entry committedEntry(const QTreeWidgetItem* row);

    // The port written for an entry: the same digits as QString("%1").arg().
    QString portText(int port);
    // "address:port", as the tree writes an entry.
    QString entryText(const Entry& entry);

    // The parts of an entry text split at every ":" and "%3A" (upper-case A
    // only), empty parts kept: what splitting at the regular expression
    // "%3A|:" gives.
    QStringList splitEntryText(const QString& text);
    // Reads an entry text as splitEntryText() splits it: exactly one
    // separator makes an entry (address before it, port after it, read as
    // QString::toInt() in base 10 reads it, 0 when not a number); any other
    // count answers false.
    bool readEntry(const QString& text, Entry* entry);

} // namespace ipport
} // namespace kqgui
