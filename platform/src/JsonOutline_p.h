// Private: the top level of a JSON object document, walked without building
// it. QJsonDocument builds the whole document at once, at about nine times
// its size in memory; the node database instead parses one top-level value
// (one node of the "nodes" array) at a time with QJsonDocument, so a document
// of a hundred thousand nodes never exists twice in memory.
#pragma once

#include <QByteArray>
#include <QJsonValue>
#include <QString>

#include <functional>

namespace kq::json {

// A value's place in the document: bytes [begin, end).
struct Span {
    int begin = 0;
    int end = 0;
};

// What the walk found wrong, if anything: a syntax error (the message and
// the byte offset it concerns), or a document that is not an object.
struct Problem {
    QString what;
    int offset = 0;
    bool notAnObject = false;
    bool isEmpty() const { return what.isEmpty() && !notAnObject; }
};

// Called for each member of the top-level object, in document order, with
// the member's key (decoded) and the span of its value. For a member named
// `arrayKey` whose value is an array, `arrayBegins` is called instead, then
// `element` for each element (with its index). A callback answers false to
// stop the walk.
struct Visitor {
    QString arrayKey;
    std::function<bool(const QString& key, Span value)> member;
    std::function<void()> arrayBegins;
    std::function<bool(int index, Span element)> element;
};

// Walks `json`: an optional UTF-8 byte order mark, whitespace, one object,
// whitespace. Answers false with *problem set when the structure is broken
// (unbalanced, unterminated, nested deeper than QJsonDocument allows, not an
// object); answers false with *problem empty when a callback stopped it.
// The values themselves are checked only as far as needed to find where they
// end: parse them (parseValue()) to check them.
bool walkObject(const QByteArray& json, const Visitor& visitor, Problem* problem);

// Parses the value at `span` of `json` with QJsonDocument. On a syntax error
// answers false with *problem giving QJsonDocument's message and the offset
// in the whole document.
bool parseValue(const QByteArray& json, Span span, QJsonValue* value, Problem* problem);

} // namespace kq::json
