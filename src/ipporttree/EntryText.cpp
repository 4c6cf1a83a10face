#include "ipporttree/EntryText_p.h"

#include <QTreeWidgetItem>

namespace kqgui {
namespace ipport {

    QString ipPlaceholder() { return QStringLiteral("<Ip>"); }
    QString portPlaceholder() { return QStringLiteral("<Port>"); }

    // Four dot-separated decimal octets 0..255, leading zeros allowed up to
    // three digits. The editor's validator and the check after an edit both
    // use this one pattern. QRegularExpression rather than QRegExp, which
    // Qt 6 keeps only in its compatibility module without a validator: the
    // leftmost match starts at the same place, and the validator anchors the
    // pattern itself and gives the same states for partial input.
    const QRegularExpression& ipv4Pattern()
    {
        static const QRegularExpression pattern(
            QStringLiteral("(([01]?[0-9]?[0-9]|2[0-4][0-9]|25[0-5])\\.){3}"
                           "([01]?[0-9]?[0-9]|2[0-4][0-9]|25[0-5])"));
        return pattern;
    }

    bool hasPlaceholder(const QTreeWidgetItem* row)
    {
        return row->text(kAddressColumn) == ipPlaceholder() || row->text(kPortColumn) == portPlaceholder();
    }

    Entry committedEntry(const QTreeWidgetItem* row)
    {
        return { row->data(kAddressColumn, Qt::UserRole).toString(),
            row->data(kPortColumn, Qt::UserRole).toInt() };
    }

    // The port written for an entry: the same digits as QString("%1").arg().
    QString portText(int port) { return QString::number(port); }

    QString entryText(const Entry& entry) { return entry.first + QLatin1Char(':') + portText(entry.second); }

    namespace {

        // The next entry separator at or after `from`: ":" or "%3A" (upper-case
        // A only). Answers its position, or -1, and sets `length` to its length.
        // The two separators start with different characters, so they never
        // compete for the same place.
        int nextSeparator(QStringView text, int from, int* length)
        {
            for (int i = from; i < text.size(); ++i) {
                const QChar c = text.at(i);
                if (c == QLatin1Char(':')) {
                    *length = 1;
                    return i;
                }
                if (c == QLatin1Char('%') && i + 2 < text.size() && text.at(i + 1) == QLatin1Char('3')
                    && text.at(i + 2) == QLatin1Char('A')) {
                    *length = 3;
                    return i;
                }
            }
            return -1;
        }

        // A port text read as QString::toInt() in base 10 reads it (0 when it is
        // not a number). Plain digits, the usual case, are read in place; nine
        // digits cannot overflow an int.
        int portNumber(QStringView text)
        {
            if (text.isEmpty() || text.size() > 9)
                return text.toString().toInt(nullptr, 10);
            int value = 0;
            for (const QChar c : text) {
                if (c < QLatin1Char('0') || c > QLatin1Char('9'))
                    return text.toString().toInt(nullptr, 10);
                value = value * 10 + (c.unicode() - '0');
            }
            return value;
        }

    } // namespace

    // Reads an entry text as splitIpPort() splits it: exactly one separator
    // makes an entry (address before it, port after it); any other count
    // answers false.
    bool readEntry(const QString& text, Entry* entry)
    {
        int length = 0;
        const int at = nextSeparator(text, 0, &length);
        if (at < 0)
            return false;
        const int portStart = at + length;
        int ignored = 0;
        if (nextSeparator(text, portStart, &ignored) >= 0)
            return false;
        entry->first = text.left(at);
        entry->second = portNumber(QStringView(text).mid(portStart));
        return true;
    }

    QStringList splitEntryText(const QString& text)
    {
        // What splitting at the regular expression "%3A|:" gives, keeping
        // empty parts, without building and running a regular expression
        // for every entry.
        QStringList parts;
        int start = 0;
        int length = 0;
        for (int at = nextSeparator(text, 0, &length); at >= 0; at = nextSeparator(text, start, &length)) {
            parts.append(text.mid(start, at - start));
            start = at + length;
        }
        parts.append(text.mid(start));
        return parts;
    }

} // namespace ipport
} // namespace kqgui
