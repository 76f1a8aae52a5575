#ifndef QEVO_OBJTRACKER_H
#define QEVO_OBJTRACKER_H

#include "detection_type_api.h"

#endif  // QEVO_OBJTRACKER_H
