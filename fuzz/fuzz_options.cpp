// Arbitrary selections on option values: whatever is selected, the chosen
// value is afterwards selected, nothing already listed is lost, and the
// multiple-choice result always has one element per selected index.
#include <kq/Log.h>
#include <kq/Options.h>

#include <cstdint>
#include <cstdlib>

namespace {

struct Bytes {
    const uint8_t* data;
    size_t size;
    size_t pos = 0;
    bool more() const { return pos < size; }
    uint8_t next() { return pos < size ? data[pos++] : 0; }
};

QString smallString(Bytes& in)
{
    // A small alphabet, so that selections hit existing values often.
    const int len = in.next() % 4;
    QString s;
    for (int i = 0; i < len; ++i)
        s.append(QChar('a' + in.next() % 3));
    return s;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static const bool quiet = [] {
        kq::LogQt::setLogLevel(100); // the miss warnings would drown the fuzzer's output
        return true;
    }();
    (void)quiet;

    Bytes in { data, size };
    kq::TOptions<QString> single;
    kq::TOptions<int> numbers;
    kq::TMultiOptions<QString> multi;
    while (in.more()) {
        switch (in.next() % 6) {
        case 0: {
            const QString v = smallString(in);
            const QVector<QString> before = single.values;
            single.setSelectedValue(v);
            if (single.getSelectedValue() != v || single.values.mid(0, before.size()) != before)
                std::abort();
            break;
        }
        case 1: {
            const int v = int(in.next()) - 128;
            numbers.setSelectedValue(v);
            if (numbers.getSelectedValue() != v)
                std::abort();
            break;
        }
        case 2:
            single.setSelectedIndex(int(in.next()) - 8);
            (void)single.getSelectedValue();
            break;
        case 3: {
            QVector<QString> wanted;
            const int n = in.next() % 5;
            for (int i = 0; i < n; ++i)
                wanted.append(smallString(in));
            const QVector<QString> before = multi.values;
            multi.setSelectedValues(wanted);
            if (multi.getSelectedValues() != wanted || multi.values.mid(0, before.size()) != before)
                std::abort();
            break;
        }
        case 4:
            multi.selectedIndices.append(int(in.next()) - 8);
            if (multi.getSelectedValues().size() != multi.selectedIndices.size())
                std::abort();
            break;
        case 5:
            multi.values.append(smallString(in));
            break;
        }
    }
    return 0;
}
