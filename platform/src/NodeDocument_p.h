// The words of the node database's JSON document, shared by its reading
// and its writing.
#pragma once

#include <QLatin1String>

namespace kq {
namespace nodedoc {

    constexpr QLatin1String kNodes("nodes");
    constexpr QLatin1String kId("id");
    constexpr QLatin1String kName("name");
    constexpr QLatin1String kIdName("idName");
    constexpr QLatin1String kNeedsReboot("needsReboot");
    constexpr QLatin1String kImageRect("imageRect");
    constexpr QLatin1String kProperties("properties");
    constexpr QLatin1String kKind("kind");
    constexpr QLatin1String kValue("value");
    constexpr QLatin1String kValues("values");
    constexpr QLatin1String kSelected("selected");
    constexpr QLatin1String kMin("min");
    constexpr QLatin1String kMax("max");

} // namespace nodedoc
} // namespace kq
