// Servo angles of a recording, one line per frame:
//
//   frame,azimuth,pitch        (degrees; commas or, without commas, white space)
//
// Blank lines and lines starting with '#' are skipped. Frames start at 1 and
// appear at most once; angles are finite numbers. A frame without a line has
// no angles: the motion tracker compensates nothing across it. The
// resolution (degrees per pixel) comes with the recording: --resolution, or
// servoResolution= in the [Sequence] section of a benchmark's seqinfo.ini.
#ifndef QEVO_PIPELINE_SERVO_FILE_H
#define QEVO_PIPELINE_SERVO_FILE_H

#include <map>
#include <string>

#include "detection_type_api.h"

namespace pipeline {

using ServoTrack = std::map<int, QEVO::SyncInfos>;  // frame -> angles (fAz, fPt)

// False with "<path>:<line>: <reason>" (or "<path>: cannot open file").
bool load_servo(const std::string &path, ServoTrack &out, std::string &error);

// One line as load_servo reads it (frame,azimuth,pitch with 6 decimals).
std::string format_servo_line(int frame, double azimuth, double pitch);

}  // namespace pipeline

#endif
