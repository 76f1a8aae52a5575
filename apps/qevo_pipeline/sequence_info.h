// The seqinfo.ini file of a MOTChallenge sequence folder:
//
//   [Sequence]
//   name=MOT16-02
//   imDir=img1
//   frameRate=30
//   seqLength=600
//   imWidth=1920
//   imHeight=1080
//   imExt=.jpg
//
// Only imWidth, imHeight (1 to 16384) and seqLength (at least 1) are needed;
// names are matched without regard to case, as the INI reader does. An
// optional servoResolution= (degrees per pixel, above 0) goes with the
// sequence's servo.txt (servo_file.h).
#ifndef QEVO_PIPELINE_SEQUENCE_INFO_H
#define QEVO_PIPELINE_SEQUENCE_INFO_H

#include <string>

namespace pipeline {

struct SequenceInfo {
    std::string name;  // name= (may be empty)
    int width = 0, height = 0, length = 0;
    double servo_resolution = 0;  // 0 when not given
};

// False with a message "<path>: <reason>" (or "<path>:<line>: ..." for a
// line the INI reader cannot read).
bool read_sequence_info(const std::string &path, SequenceInfo &info, std::string &error);

}  // namespace pipeline

#endif
