// The file of a form, which is read by the system's own calls.
#pragma once

#include <zmu/platform/Files.h>

#include <QIODevice>

#include <algorithm>
#include <utility>

namespace zmu {

/// A file for reading, without a buffer: unlike Qt's it allocates nothing to be opened and read.
class FormDevice : public QIODevice {
  public:
    FormDevice() = default;
    ~FormDevice() override { closeFile(std::exchange(m_file, -1)); }
    FormDevice(const FormDevice&) = delete;
    FormDevice& operator=(const FormDevice&) = delete;

    /// Opens the regular file of that name, once. False if the system refuses, with the last error.
    bool openPath(const wchar_t* path)
    {
        m_file = openFile(path, FileUse::Read);
        return m_file >= 0 && QIODevice::open(ReadOnly | Unbuffered);
    }

    /// The file's number, -1 for none.
    int file() const { return m_file; }

    bool isSequential() const override { return false; }
    qint64 size() const override { return std::max<qint64>(sizeOf(m_file), 0); }

  protected:
    qint64 readData(char* data, qint64 size) override { return readAt(m_file, pos(), data, size); }
    qint64 writeData(const char*, qint64) override { return -1; }

  private:
    int m_file = -1;
};

} // namespace zmu
