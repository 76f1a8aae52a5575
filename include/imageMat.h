#ifndef QEVO_IMAGEMAT_H
#define QEVO_IMAGEMAT_H

#include "detection_type_api.h"

#endif  // QEVO_IMAGEMAT_H
