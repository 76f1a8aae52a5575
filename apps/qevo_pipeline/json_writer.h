// Minimal pretty-printing JSON writer for the run summary. Non-finite numbers
// are written as null.
#ifndef QEVO_PIPELINE_JSON_WRITER_H
#define QEVO_PIPELINE_JSON_WRITER_H

#include <string>
#include <vector>

namespace pipeline {

class JsonWriter {
  public:
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
    const std::string &str() const { return out_; }

    static std::string quote(const std::string &s);

  private:
    void prefix(const char *key);
    std::string out_;
    std::vector<bool> first_;  // per open container: no member written yet
};

}  // namespace pipeline

#endif
