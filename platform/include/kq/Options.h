// Option values: a choice among an ordered list of permitted values.
//
// Selecting a value that the list does not hold never fails: the value is
// appended and selected. The single-choice form reports that loudly, in the
// platform's own words; the multiple-choice form extends the list silently.
#pragma once

#include <kq/Log.h>
#include <kq/kqplatform_export.h>

#include <QHash>
#include <QString>
#include <QVector>

namespace kq {

class KQPLATFORM_EXPORT Options {
public:
    Options() = default;
    virtual ~Options() = default;

    // Stores the index unchanged; anything outside 0 .. size-1 means "nothing
    // selected".
    void setSelectedIndex(int index) { selectedIndex = index; }

    int selectedIndex = -1;
};

namespace detail {
    // Text of the function signature that the option model's warning names.
    template <class T> struct OptionsSignature;
    template <> struct OptionsSignature<int> {
        static const char* text()
        {
            return "void kq::TOptions<T>::setSelectedValue(const T&) [with T = int]";
        }
    };
    template <> struct OptionsSignature<double> {
        static const char* text()
        {
            return "void kq::TOptions<T>::setSelectedValue(const T&) [with T = double]";
        }
    };
    template <> struct OptionsSignature<QString> {
        static const char* text()
        {
            return "void kq::TOptions<T>::setSelectedValue(const T&) [with T = QString]";
        }
    };
}

template <class T> class TOptions : public Options {
public:
    TOptions() = default;
    explicit TOptions(const QVector<T>& permitted, int selected = -1)
        : values(permitted)
    {
        selectedIndex = selected;
    }

    // The selected value, or emptyValue (with a level-1 notice) when the
    // selection lies outside the list.
    T getSelectedValue() const
    {
        if (selectedIndex >= 0 && selectedIndex < values.size())
            return values.at(selectedIndex);
        logLine(Log::Debug, "getSelectedValue", " -> returning empty value ");
        return emptyValue;
    }

    // Selects the first element equal to v (exact comparison); a value the
    // list does not hold is reported, appended and then selected.
    void setSelectedValue(const T& v)
    {
        for (;;) {
            for (int i = 0; i < values.size(); ++i) {
                if (values.at(i) == v) {
                    selectedIndex = i;
                    return;
                }
            }
            logLine(Log::Warning, "../NodeDriverBase/include/NodeDriverBase/Options", ":", "165", ":",
                detail::OptionsSignature<T>::text(), "setSelectedValue didn't find value ", v,
                ", automatically adding it. THIS MAY NOT BE WHAT YOU WANTED!");
            logLine(Log::Warning, "possible values: ");
            for (const T& value : values)
                logLine(Log::Warning, value);
            values.append(v);
            // Searching again finds v at the new last position. NaN never
            // compares equal, so stop rather than append forever.
            if (!(v == v)) {
                selectedIndex = values.size() - 1;
                return;
            }
        }
    }

    bool operator==(const TOptions& other) const
    {
        return selectedIndex == other.selectedIndex && values == other.values
            && emptyValue == other.emptyValue;
    }
    bool operator!=(const TOptions& other) const { return !(*this == other); }

    QVector<T> values;
    T emptyValue = T();
};

template <class T> class TMultiOptions {
public:
    TMultiOptions() = default;
    explicit TMultiOptions(const QVector<T>& permitted, const QVector<int>& selected = {})
        : selectedIndices(selected)
        , values(permitted)
    {
    }

    // One element per selected index, in selection order; an index beyond
    // the list yields an empty element and a level-3 line.
    QVector<T> getSelectedValues() const
    {
        QVector<T> result(selectedIndices.size());
        for (int i = 0; i < selectedIndices.size(); ++i) {
            const int idx = selectedIndices.at(i);
            if (idx < values.size() && idx >= 0)
                result[i] = values.at(idx);
            else
                logLine(Log::Warning, "TMultiOptions<T>::getSelectedValues() -> index out of bounds!");
        }
        return result;
    }

    // Replaces the selection; values the list does not hold are appended.
    void setSelectedValues(const QVector<T>& wanted)
    {
        // The first position of each wanted value (the answer of a scan from
        // 0), found in one pass over the values that looks each up among the
        // wanted ones, usually far fewer; -1 while not found.
        QHash<T, int> first;
        first.reserve(wanted.size());
        for (const T& w : wanted)
            first.insert(w, -1);
        int unresolved = first.size();
        for (int i = 0; i < values.size() && unresolved > 0; ++i) {
            const auto it = first.find(values.at(i));
            if (it != first.end() && *it < 0) {
                *it = i;
                --unresolved;
            }
        }
        QVector<int> indices;
        indices.reserve(wanted.size());
        for (const T& w : wanted) {
            const auto it = first.find(w);
            if (it == first.end()) {
                // A value unequal to itself (NaN) is never found: appended
                // every time, as a scan would have it.
                indices.append(values.size());
                values.append(w);
                continue;
            }
            if (*it < 0) {
                *it = values.size();
                values.append(w);
            }
            indices.append(*it);
        }
        selectedIndices = indices;
    }

    bool operator==(const TMultiOptions& other) const
    {
        return selectedIndices == other.selectedIndices && values == other.values;
    }
    bool operator!=(const TMultiOptions& other) const { return !(*this == other); }

    QVector<int> selectedIndices;
    QVector<T> values;
};

} // namespace kq
