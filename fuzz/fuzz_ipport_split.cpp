// Arbitrary text as an IP/port entry: the split leaves the text alone, never
// loses a character, and cuts exactly at every ":" and "%3A" (scanning from
// the left), so that the parts joined with the separators found give the
// text back.
#include <ConfigDialogs/IpPortTreeWidget.h>

#include <cstdint>
#include <cstdlib>

namespace {

// The separators, found independently of the regular expression.
QStringList separatorsOf(const QString& text)
{
    QStringList found;
    for (int i = 0; i < text.size();) {
        if (text.at(i) == QLatin1Char(':')) {
            found.append(QStringLiteral(":"));
            ++i;
        } else if (QStringView(text).mid(i).startsWith(QLatin1String("%3A"))) {
            found.append(QStringLiteral("%3A"));
            i += 3;
        } else {
            ++i;
        }
    }
    return found;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QString input = QString::fromUtf8(reinterpret_cast<const char*>(data), int(size));
    QString entry = input;
    const QStringList parts = kqgui::IpPortTreeWidget::splitIpPort(entry);
    if (entry != input)
        std::abort(); // the argument is only read
    const QStringList separators = separatorsOf(input);
    if (parts.size() != separators.size() + 1)
        std::abort(); // one part more than separators, empty parts kept
    QString joined = parts.first();
    for (int i = 0; i < separators.size(); ++i) {
        if (parts.at(i + 1).contains(QLatin1Char(':')) || parts.at(i + 1).contains(QLatin1String("%3A")))
            std::abort();
        joined += separators.at(i) + parts.at(i + 1);
    }
    if (joined != input)
        std::abort();
    return 0;
}
