// The version the library was built as (qevo_version.h).
#include "qevo_version.h"

namespace qevo {

const char *version() { return QEVO_VERSION_STRING; }

}  // namespace qevo
