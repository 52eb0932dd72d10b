// What is collected, as lines of JSON on standard output.
#pragma once

#include <collect/Sink.h>

#include <QFile>

namespace zmu_tools::collect {

/// Writes an object for each report: {"owner":...,"sequence":...} with the fields of a spool's line
/// for a situation, "missing" with a first and a last number, or "leftOut" with what is wrong.
/// Whoever reads it may get the last ones twice after a kill. Throws std::runtime_error where
/// nobody reads it any more.
class JsonSink : public zmu_collect::Sink {
  public:
    bool write(const zmu_collect::Report& report) override;
    bool sync() override;

  private:
    bool flush();
    void put(std::string_view name, std::string_view text);
    void put(std::string_view name, zmu::i64 number);
    void put(std::string_view name, zmu::u64 number);

    std::string m_output; ///< Not written yet.
    QFile m_file;
};

} // namespace zmu_tools::collect
