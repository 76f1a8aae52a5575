#include "sequence_info.h"

#include <INIReader.h>

#include "frame_source.h"
#include "mot_format.h"

namespace pipeline {

bool read_sequence_info(const std::string &path, SequenceInfo &info, std::string &error) {
    const INIReader ini(path);
    if (ini.ParseError() < 0) {
        error = path + ": cannot open file";
        return false;
    }
    if (ini.ParseError() > 0) {
        error = path + ":" + std::to_string(ini.ParseError()) + ": not a 'name=value' line";
        return false;
    }
    if (!ini.HasSection("Sequence")) {
        error = path + ": no [Sequence] section";
        return false;
    }
    auto whole = [&](const char *key, long hi, int &out) {
        const std::string s = ini.Get("Sequence", key, "");
        long v = 0;
        if (!parse_long(s, v) || v < 1 || v > hi) {
            error = path + ": " + key + " must be a whole number from 1 to " + std::to_string(hi) +
                    (s.empty() ? ", but is missing" : ", found '" + s + "'");
            return false;
        }
        out = static_cast<int>(v);
        return true;
    };
    info.name = ini.Get("Sequence", "name", "");
    const std::string res = ini.Get("Sequence", "servoResolution", "");
    if (!res.empty() && (!to_double(res, info.servo_resolution) || info.servo_resolution <= 0)) {
        error = path + ": servoResolution must be a number above 0, found '" + res + "'";
        return false;
    }
    return whole("imWidth", kMaxFrameSide, info.width) &&
           whole("imHeight", kMaxFrameSide, info.height) &&
           whole("seqLength", 10000000, info.length);
}

}  // namespace pipeline
