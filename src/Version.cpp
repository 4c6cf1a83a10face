#include <ConfigDialogs/Version.h>

namespace ConfigDialogs {

const char* version()
{
    return CONFIGDIALOGS_VERSION_STRING;
}

}
