// Arbitrary text as the IP/port lists of several nodes: the tree loads them
// one node after another, writes every node's list back, loads once more,
// and must agree throughout with a plain model of the same rules: one row
// per distinct entry in order of first appearance, checked when every loaded
// node holds the entry, partially checked otherwise; the master row is the
// first row created whose address is one of this computer's, and
// fetchPort() gives its port; a node's list is written with its checked
// rows and the partially checked rows it holds, top to bottom, as
// "address:port".
//
// Input: lines are entry texts; a line "#" starts the next node. Node blocks
// go to the nodes fz-0 .. fz-3 in turn, so a node can be loaded twice.
#include <ConfigDialogs/IpPortTreeWidget.h>
#include <kq/IPAddress.h>
#include <kq/MemoryConfigSession.h>
#include <kq/NodeDB.h>

#include <QApplication>
#include <QMap>
#include <QSet>

#include <cstdint>
#include <cstdlib>
#include <memory>

namespace {

using kqgui::IpPortTreeWidget;
using Entry = IpPortTreeWidget::Entry;
using ListProperty = IpPortTreeWidget::ListProperty;

void check(bool ok)
{
    if (!ok)
        std::abort();
}

std::unique_ptr<ListProperty> makeList(const QStringList& texts)
{
    auto info = QSharedPointer<const ListProperty::InfoType>::create(
        0x9000001, QStringLiteral("Targets"), QStringLiteral("Targets"), false);
    return std::make_unique<ListProperty>(info, ListProperty::ValueType(texts.toVector()));
}

// The rules the tree follows, written out plainly.
struct Model {
    QVector<Entry> rows;
    QMap<QString, QList<Entry>> nodes;
    int masterRow = -1;
    const QList<kq::IPAddress> local = kq::IPAddress::enumLocalAddresses();

    void update(const QString& node, const QStringList& texts)
    {
        QList<Entry> entries;
        for (QString text : texts) {
            const QStringList parts = IpPortTreeWidget::splitIpPort(text);
            if (parts.size() != 2)
                continue;
            const Entry entry(parts.at(0), parts.at(1).toInt(nullptr, 10));
            entries.append(entry);
            if (rows.contains(entry))
                continue;
            rows.append(entry);
            if (masterRow < 0 && local.contains(kq::IPAddress(entry.first)))
                masterRow = rows.size() - 1;
        }
        nodes.insert(node, entries);
    }

    bool common(const Entry& entry) const
    {
        for (const QList<Entry>& entries : nodes) {
            if (!entries.contains(entry))
                return false;
        }
        return true;
    }

    // Row states are those of the last load: a node remembered during the
    // write-back does not change them.
    QStringList written(const QString& node)
    {
        QVector<bool> checked;
        for (const Entry& entry : qAsConst(rows))
            checked.append(common(entry));
        QStringList list;
        for (int i = 0; i < rows.size(); ++i) {
            const Entry& entry = rows.at(i);
            if (checked.at(i) || nodes[node].contains(entry))
                list.append(entry.first + QLatin1Char(':') + QString::number(entry.second));
        }
        return list;
    }
};

void compare(const IpPortTreeWidget& tree, const Model& model, bool hadMaster)
{
    check(tree.topLevelItemCount() == model.rows.size());
    int marked = -1;
    for (int i = 0; i < model.rows.size(); ++i) {
        const QTreeWidgetItem* row = tree.topLevelItem(i);
        const Entry& entry = model.rows.at(i);
        check(row->text(0) == entry.first && row->text(1) == QString::number(entry.second));
        check(row->data(0, Qt::UserRole).toString() == entry.first);
        check(row->data(1, Qt::UserRole).toInt() == entry.second);
        check(row->checkState(0) == (model.common(entry) ? Qt::Checked : Qt::PartiallyChecked));
        if (!row->data(1, Qt::ToolTipRole).toString().isEmpty()) {
            check(marked < 0); // one master at most
            marked = i;
        }
    }
    check(marked == model.masterRow);
    if (marked >= 0)
        check(tree.fetchPort() == model.rows.at(marked).second);
    else if (!hadMaster)
        check(tree.fetchPort() == 0);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static QApplication* app = [] {
        qputenv("QT_QPA_PLATFORM", "offscreen");
        static int argc = 1;
        static char name[] = "fuzz_ipport_tree";
        static char* argv[] = { name, nullptr };
        auto* application = new QApplication(argc, argv);
        for (int i = 0; i < 4; ++i)
            kq::NodeDB::getDB()->insert(QStringLiteral("fz-%1").arg(i), QStringLiteral("fuzz"),
                kqm::smart<kq::MemoryConfigSession>(new kq::MemoryConfigSession));
        return application;
    }();
    (void)app;

    const QString text = QString::fromUtf8(reinterpret_cast<const char*>(data), int(size));
    QList<QStringList> blocks { {} };
    for (const QString& line : text.split(QLatin1Char('\n'))) {
        if (line == QLatin1String("#")) {
            if (blocks.size() < 12)
                blocks.append(QStringList());
        } else {
            blocks.last().append(line);
        }
    }

    IpPortTreeWidget tree;
    Model model;
    QStringList nodeIds;
    for (int b = 0; b < blocks.size(); ++b) {
        const QString node = QStringLiteral("fz-%1").arg(b % 4);
        if (!nodeIds.contains(node))
            nodeIds.append(node);
        const auto property = makeList(blocks.at(b));
        tree.update(property.get(), node);
        model.update(node, blocks.at(b));
        check(tree.isEnabled());
        compare(tree, model, false);
    }

    // Write back every node, and one never loaded (which the tree then
    // remembers with an empty list when a row is partially checked).
    nodeIds.append(QStringLiteral("fz-unknown"));
    for (const QString& node : qAsConst(nodeIds)) {
        const auto property = makeList({ QStringLiteral("stale:1") });
        tree.setConfigSessionProperty(property.get(), node);
        const QStringList written = QStringList(property->value().toList());
        check(written == model.written(node));
        for (QString entry : written) {
            const QStringList parts = IpPortTreeWidget::splitIpPort(entry);
            check(parts.size() == 2 && QString::number(parts.at(1).toInt()) == parts.at(1));
        }
    }

    // Loading again takes the remembered lists into account.
    const auto property = makeList(blocks.first());
    tree.update(property.get(), QStringLiteral("fz-0"));
    model.update(QStringLiteral("fz-0"), blocks.first());
    compare(tree, model, false);

    // An unknown node or a null property disables the tree and changes
    // nothing else.
    const int rows = tree.topLevelItemCount();
    tree.update(nullptr, QStringLiteral("fz-0"));
    check(!tree.isEnabled() && tree.topLevelItemCount() == rows);
    tree.reset();
    check(tree.isEnabled() && tree.topLevelItemCount() == 0);
    return 0;
}
