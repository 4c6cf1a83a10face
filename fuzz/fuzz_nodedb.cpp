// Arbitrary bytes as a node-database document: loading must either succeed
// or refuse with a message and change nothing; what loads must save and load
// again to the same document.
#include <kq/NodeDB.h>

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    kq::NodeDB db;
    const QByteArray seed = R"({ "nodes": [ { "id": "seed", "properties": [
        { "id": 1, "kind": "long", "value": 1 } ] } ] })";
    if (!db.loadJson(seed))
        std::abort();
    const QByteArray before = db.toJson();

    QString error;
    const QByteArray input(reinterpret_cast<const char*>(data), int(size));
    if (!db.loadJson(input, &error)) {
        if (error.isEmpty() || db.toJson() != before)
            std::abort(); // a refusal must say why and leave the database alone
        return 0;
    }
    const QByteArray saved = db.toJson();
    kq::NodeDB again;
    if (!again.loadJson(saved) || again.toJson() != saved)
        std::abort(); // what was loaded must survive a save and a load
    return 0;
}
