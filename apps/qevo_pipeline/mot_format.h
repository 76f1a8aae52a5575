// MOTChallenge text formats: detections, ground truth and track results.
//
// Every line is comma separated. Frame numbers start at 1 and boxes are given
// as (left, top, width, height) in 1-based pixel coordinates, so a box whose
// top-left pixel is (0, 0) in memory is written as left 1, top 1. Reading
// converts back: x1 = left - 1, y1 = top - 1, x2 = x1 + width, y2 = y1 + height.
//
//   detections:   frame,id,left,top,width,height,conf[,x,y,z]       (7..10 fields)
//   ground truth: frame,id,left,top,width,height[,flag[,class[,vis[,extra]]]] (6..10)
//   tracks:       frame,id,left,top,width,height,score,-1,-1,-1      (written)
//
// Blank lines and lines starting with '#' are skipped. Every other line must
// be complete: numbers only, a frame of at least 1, a positive width and
// height, finite values. Ground-truth rows with flag 0 are "do not evaluate"
// rows and are dropped; a ground-truth identifier must be non-negative and
// appear at most once per frame. A malformed line stops the parse with a
// message "<file>:<line>: <reason>".
#ifndef QEVO_PIPELINE_MOT_FORMAT_H
#define QEVO_PIPELINE_MOT_FORMAT_H

#include <istream>
#include <map>
#include <string>
#include <vector>

namespace pipeline {

// One box of a sequence, in 0-based continuous pixel coordinates.
struct MotBox {
    int id = -1;
    float x1 = 0, y1 = 0, x2 = 0, y2 = 0;
    float score = 1.0f;
    int cls = 0;  // class index; detections read from a file are class 0
};

// Boxes of a sequence by frame number (1-based).
using MotSequence = std::map<int, std::vector<MotBox>>;

struct ParseResult {
    bool ok = true;
    std::string error;  // "<source>:<line>: <reason>" when !ok
    int rows = 0;       // rows kept
};

// Parses detections / ground truth from `in`; `source` names the stream in
// messages. The sequence is appended to.
ParseResult parse_detections(std::istream &in, const std::string &source, MotSequence &out);
ParseResult parse_ground_truth(std::istream &in, const std::string &source, MotSequence &out);

// Same, from a file; a file that cannot be opened gives "<path>: cannot open file".
ParseResult load_detections(const std::string &path, MotSequence &out);
ParseResult load_ground_truth(const std::string &path, MotSequence &out);

// One track-result line (no newline), with two decimals for the box and
// three for the score.
std::string format_track_line(int frame, const MotBox &box);

// Ground-truth line (frame,id,left,top,width,height,1,class+1,1) as written
// for the built-in scene.
std::string format_gt_line(int frame, const MotBox &box);

// Detection line (frame,-1,left,top,width,height,conf,-1,-1,-1).
std::string format_det_line(int frame, const MotBox &box);

// Largest frame number in the sequence, 0 when empty.
int last_frame(const MotSequence &seq);

}  // namespace pipeline

#endif
