// MOTChallenge text formats: detections, ground truth and track results.
//
// Fields are separated by commas (blanks around them are allowed) or, on a
// line without commas, by white space. Frame numbers start at 1 and boxes are given
// as (left, top, width, height) in 1-based pixel coordinates, so a box whose
// top-left pixel is (0, 0) in memory is written as left 1, top 1. Reading
// converts back: x1 = left - 1, y1 = top - 1, x2 = x1 + width, y2 = y1 + height.
//
//   detections:   frame,id,left,top,width,height,conf[,x,y,z]        (7..10 fields)
//   ground truth, without classes: frame,id,left,top,width,height[,flag[,x,y,z]]
//                                                                     (6, 7 or 10 fields)
//   ground truth, with classes:    frame,id,left,top,width,height,flag,class[,visibility]
//                                                                     (8 or 9 fields)
//   tracks:       frame,id,left,top,width,height,score,-1,-1,-1       (written)
//
// The layout is told by the number of fields: 2015 rows have 6, 7 or 10
// (the last three of 10 are world coordinates x, y, z), 2016/2017 rows 8 or
// 9 (flag, class, visibility). A file has one layout on every row.
//
// Ground truth, which rows are scored:
//   - without classes (2015): a row is scored when it has no flag or its
//     flag is at least 1; rows with a lower flag are dropped, so a tracker
//     box on them is a false positive. Both scorings below agree on this
//     (py-motmetrics drops rows of confidence below 1; the 2015 development
//     kit removes no tracker boxes).
//   - with classes (2016/2017), Scoring::kDevkit (the development kit's
//     rules): a row is scored when its class is 1 (pedestrian) and its flag
//     is not 0. Rows with flag 0, and rows of the distractor classes 2
//     (person on vehicle), 7 (static person), 8 (distractor) and 12
//     (reflection), are "do not evaluate" rows: a tracker box that the
//     evaluation matches to one is removed before scoring (see metrics.h).
//     Rows of the other classes (vehicles, occluders) are dropped.
//   - with classes, Scoring::kMotmetrics (py-motmetrics' MOTChallenge
//     evaluation): every row with flag >= 1 is scored, whatever its class;
//     the others are dropped, and no tracker box is removed.
// Visibility is read and checked but not used.
//
// Blank lines and lines starting with '#' are skipped. Every other line must
// be complete: numbers only, a frame of at least 1, a positive width and
// height, finite values. A ground-truth identifier must be non-negative and
// appear at most once per frame, a class must be a whole number >= 1. A
// malformed line stops the parse with a message "<file>:<line>: <reason>".
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
    int rows = 0;       // rows read
};

// How ground truth with class columns is scored (above).
enum class Scoring { kDevkit, kMotmetrics };

// Ground truth split by the rules above.
struct GroundTruth {
    MotSequence scored;         // rows the figures count
    MotSequence not_evaluated;  // "do not evaluate" rows
    bool has_classes = false;   // the file has class columns
    int dropped = 0;            // rows neither scored nor "do not evaluate"
};

// Parses detections / ground truth from `in`; `source` names the stream in
// messages. The sequences are appended to.
ParseResult parse_detections(std::istream &in, const std::string &source, MotSequence &out);
ParseResult parse_ground_truth(std::istream &in, const std::string &source, GroundTruth &out,
                               Scoring scoring = Scoring::kDevkit);

// Same, from a file; a file that cannot be opened gives "<path>: cannot open file".
ParseResult load_detections(const std::string &path, MotSequence &out);
ParseResult load_ground_truth(const std::string &path, GroundTruth &out,
                              Scoring scoring = Scoring::kDevkit);

// The fields of one line: split at commas when the line has one (blanks
// around them removed), else at runs of white space.
std::vector<std::string> split_fields(const std::string &line);

// Strict number parsing of a whole string: no blanks or other characters
// after the number, no overflow. to_double also refuses infinities and NaN;
// parse_long takes base-10 integers only ("3.0" is refused). `v` is
// unspecified when false.
bool to_double(const std::string &text, double &v);
bool parse_long(const std::string &text, long &v);

// One track-result line (no newline), with two decimals for the box and
// three for the score.
std::string format_track_line(int frame, const MotBox &box);

// Ground-truth line without classes (frame,id,left,top,width,height,1,-1,-1,-1)
// as written for the built-in scene, whose every object is scored.
std::string format_gt_line(int frame, const MotBox &box);

// Detection line (frame,-1,left,top,width,height,conf,-1,-1,-1).
std::string format_det_line(int frame, const MotBox &box);

// Largest frame number in the sequence, 0 when empty.
int last_frame(const MotSequence &seq);

// Drops the frames after `frames`; true when there were any.
bool drop_after(MotSequence &seq, int frames);

// Smallest picture size, in whole pixels, that holds the right and bottom
// edges of every box (0 x 0 for no boxes).
void box_extent(const MotSequence &seq, double &width, double &height);

}  // namespace pipeline

#endif
