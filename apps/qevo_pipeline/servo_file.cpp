#include "servo_file.h"

#include <cmath>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <vector>

#include "mot_format.h"

namespace pipeline {

bool load_servo(const std::string &path, ServoTrack &out, std::string &error) {
    std::ifstream in(path);
    if (!in) {
        error = path + ": cannot open file";
        return false;
    }
    std::string line;
    int lineno = 0;
    while (std::getline(in, line)) {
        ++lineno;
        const size_t first = line.find_first_not_of(" \t\r");
        if (first == std::string::npos || line[first] == '#') continue;
        for (char &c : line)
            if (c == ',' || c == '\r') c = ' ';
        std::istringstream words(line);
        std::vector<std::string> f;
        for (std::string w; words >> w;) f.push_back(w);
        const std::string where = path + ":" + std::to_string(lineno) + ": ";
        double frame = 0, az = 0, pt = 0;
        if (f.size() != 3 || !to_double(f[0], frame) || !to_double(f[1], az) ||
            !to_double(f[2], pt)) {
            error = where + "expected frame,azimuth,pitch (three numbers)";
            return false;
        }
        if (frame < 1 || frame > 1e7 || frame != std::floor(frame)) {
            error = where + "frame must be a whole number from 1, found '" + f[0] + "'";
            return false;
        }
        QEVO::SyncInfos s{};
        s.fAz = static_cast<float>(az);
        s.fPt = static_cast<float>(pt);
        if (!std::isfinite(s.fAz) || !std::isfinite(s.fPt)) {
            error = where + "angle out of range";
            return false;
        }
        if (!out.emplace(static_cast<int>(frame), s).second) {
            error = where + "frame " + f[0] + " appears twice";
            return false;
        }
    }
    return true;
}

std::string format_servo_line(int frame, double azimuth, double pitch) {
    char buf[96];
    std::snprintf(buf, sizeof buf, "%d,%.6f,%.6f", frame, azimuth, pitch);
    return buf;
}

}  // namespace pipeline
