// Builds the run summary member by member, in writing order, and prints it
// indented by two spaces (nlohmann-json underneath). Non-finite numbers are
// written as null.
#ifndef QEVO_PIPELINE_JSON_WRITER_H
#define QEVO_PIPELINE_JSON_WRITER_H

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace pipeline {

class JsonWriter {
  public:
    // `key` names the member inside an object and is null inside an array
    // and for the outermost value.
    JsonWriter &begin_object(const char *key = nullptr);
    JsonWriter &end_object();
    JsonWriter &begin_array(const char *key = nullptr);
    JsonWriter &end_array();
    JsonWriter &value(const char *key, double v);
    JsonWriter &value(const char *key, long v);
    JsonWriter &value(const char *key, int v) { return value(key, static_cast<long>(v)); }
    JsonWriter &value(const char *key, bool v);
    JsonWriter &value(const char *key, const std::string &v);
    JsonWriter &value(const char *key, const char *v) { return value(key, std::string(v)); }
    JsonWriter &null(const char *key);
    // The document, with a final newline.
    std::string str() const;

  private:
    JsonWriter &add(const char *key, nlohmann::ordered_json v, bool open);
    nlohmann::ordered_json root_;
    std::vector<nlohmann::ordered_json *> open_;  // containers being written, innermost last
};

}  // namespace pipeline

#endif
