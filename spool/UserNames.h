// Names of users, for people.
//
// What is kept and compared is what SpoolHandle::user() tells: names change, and whoever tells them
// may be away.
#pragma once

#include <chrono>
#include <string>
#include <unordered_map>

namespace zmu_spool {

class UserNames {
  public:
    /// The name of a user of this machine; `user` itself where nobody tells one, which is asked for
    /// again soon. Good until the next call. One thread at a time.
    const std::string& of(const std::string& user);

  private:
    struct Known {
        std::string name;
        std::chrono::steady_clock::time_point until;
    };

    std::unordered_map<std::string, Known> m_known;
};

} // namespace zmu_spool
