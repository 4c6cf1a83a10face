#include "JsonOutline_p.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <vector>

namespace kq::json {

namespace {

    // QJsonDocument refuses documents nested deeper than this; the walk
    // refuses them too, before any value is parsed.
    const int kMaxDepth = 1024;

    bool isSpace(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

    class Walker {
    public:
        Walker(const QByteArray& json, Problem* problem)
            : m_data(json.constData())
            , m_size(int(json.size()))
            , m_problem(problem)
        {
        }

        int pos = 0;

        bool atEnd() const { return pos >= m_size; }
        char peek() const { return pos < m_size ? m_data[pos] : '\0'; }
        void skipSpace()
        {
            while (pos < m_size && isSpace(m_data[pos]))
                ++pos;
        }

        bool fail(const QString& what, int offset)
        {
            m_problem->what = what;
            m_problem->offset = offset;
            return false;
        }

        // Past the string starting at pos (on its opening quote).
        bool skipString()
        {
            const int start = pos++;
            while (pos < m_size) {
                const char c = m_data[pos++];
                if (c == '"')
                    return true;
                if (c == '\\')
                    ++pos;
            }
            return fail(QStringLiteral("unterminated string"), start);
        }

        // Past the value starting at pos, at nesting depth `depth` (that of
        // the container holding it). Containers are matched bracket by
        // bracket; scalars end at the next separator or space.
        bool skipValue(int depth, Span* span)
        {
            span->begin = pos;
            const char first = peek();
            if (first == '"') {
                if (!skipString())
                    return false;
            } else if (first == '{' || first == '[') {
                std::vector<char> open;
                do {
                    const char c = m_data[pos];
                    if (c == '"') {
                        if (!skipString())
                            return false;
                        continue;
                    }
                    if (c == '{' || c == '[') {
                        if (depth + int(open.size()) + 1 > kMaxDepth)
                            return fail(QStringLiteral("too deeply nested document"), pos);
                        open.push_back(c == '{' ? '}' : ']');
                    } else if (c == '}' || c == ']') {
                        if (c != open.back())
                            return fail(QStringLiteral("'%1' closes nothing that is open").arg(QLatin1Char(c)), pos);
                        open.pop_back();
                    }
                    ++pos;
                } while (!open.empty() && pos < m_size);
                if (!open.empty())
                    return fail(QStringLiteral("unterminated %1")
                                    .arg(first == '{' ? QStringLiteral("object") : QStringLiteral("array")),
                        span->begin);
            } else {
                while (pos < m_size && !isSpace(m_data[pos]) && m_data[pos] != ',' && m_data[pos] != ']'
                    && m_data[pos] != '}')
                    ++pos;
                if (pos == span->begin)
                    return fail(QStringLiteral("illegal value"), pos);
            }
            span->end = pos;
            return true;
        }

        // Past the separator `c` (after optional space), or a syntax error
        // saying `what`.
        bool expect(char c, const QString& what)
        {
            skipSpace();
            if (peek() != c)
                return fail(what, pos);
            ++pos;
            skipSpace();
            return true;
        }

    private:
        const char* m_data;
        int m_size;
        Problem* m_problem;
    };

    bool walkArray(Walker& w, const Visitor& visitor)
    {
        ++w.pos; // '['
        w.skipSpace();
        if (w.peek() == ']') {
            ++w.pos;
            return true;
        }
        for (int index = 0;; ++index) {
            Span span;
            if (!w.skipValue(2, &span) || !visitor.element(index, span))
                return false;
            w.skipSpace();
            if (w.peek() == ']') {
                ++w.pos;
                return true;
            }
            if (!w.expect(',', w.atEnd() ? QStringLiteral("unterminated array") : QStringLiteral("missing value separator")))
                return false;
        }
    }

} // namespace

bool walkObject(const QByteArray& json, const Visitor& visitor, Problem* problem)
{
    *problem = Problem();
    Walker w(json, problem);
    if (json.startsWith("\xEF\xBB\xBF"))
        w.pos = 3;
    w.skipSpace();
    if (w.atEnd())
        return w.fail(QStringLiteral("the document is empty"), w.pos);
    if (w.peek() != '{') {
        problem->notAnObject = true;
        return false;
    }
    ++w.pos;
    w.skipSpace();
    if (w.peek() == '}') {
        ++w.pos;
    } else {
        for (;;) {
            if (w.peek() != '"')
                return w.fail(w.atEnd() ? QStringLiteral("unterminated object") : QStringLiteral("expected a member name"),
                    w.pos);
            Span keySpan;
            QJsonValue key;
            if (!w.skipValue(1, &keySpan) || !parseValue(json, keySpan, &key, problem))
                return false;
            if (!w.expect(':', QStringLiteral("missing name separator")))
                return false;
            if (key.toString() == visitor.arrayKey && w.peek() == '[') {
                visitor.arrayBegins();
                if (!walkArray(w, visitor))
                    return false;
            } else {
                Span span;
                if (!w.skipValue(1, &span) || !visitor.member(key.toString(), span))
                    return false;
            }
            w.skipSpace();
            if (w.peek() == '}') {
                ++w.pos;
                break;
            }
            if (!w.expect(',', w.atEnd() ? QStringLiteral("unterminated object") : QStringLiteral("missing value separator")))
                return false;
        }
    }
    w.skipSpace();
    if (!w.atEnd())
        return w.fail(QStringLiteral("garbage at the end of the document"), w.pos);
    return true;
}

bool parseValue(const QByteArray& json, Span span, QJsonValue* value, Problem* problem)
{
    const char* data = json.constData() + span.begin;
    const int size = span.end - span.begin;
    QJsonParseError error;
    if (size > 0 && data[0] == '{') {
        // An object parses in place; anything else needs brackets around it.
        const QJsonDocument doc = QJsonDocument::fromJson(QByteArray::fromRawData(data, size), &error);
        *value = doc.object();
    } else {
        const QByteArray wrapped = '[' + QByteArray(data, size) + ']';
        const QJsonDocument doc = QJsonDocument::fromJson(wrapped, &error);
        --error.offset;
        *value = doc.array().at(0);
    }
    if (error.error == QJsonParseError::NoError)
        return true;
    problem->what = error.errorString();
    problem->offset = span.begin + int(qMax(0, int(error.offset)));
    return false;
}

} // namespace kq::json
