#ifndef QEVO_RAWREADER_H
#define QEVO_RAWREADER_H

#include "detection_type_api.h"

#endif  // QEVO_RAWREADER_H
