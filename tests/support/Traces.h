// What the library has traced.
#pragma once

#include <QString>

namespace zmu_test {

/// The library's traces from construction to take(); on Linux, all of standard error.
class Traces {
  public:
    Traces();
    ~Traces();
    Traces(const Traces&) = delete;
    Traces& operator=(const Traces&) = delete;
    /// What has been written so far; ends the catching.
    QString take();

  private:
    void* m_handler = nullptr; ///< Of debug output, on Windows.
    int m_original = -1;       ///< Standard error and the file in its place, elsewhere.
    int m_file = -1;
};

} // namespace zmu_test
