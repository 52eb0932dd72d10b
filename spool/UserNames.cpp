#include <spool/UserNames.h>

#include <spool/SpoolFiles.h>

#include <utility>

using namespace zmu_spool;

const std::string& UserNames::of(const std::string& user)
{
    constexpr std::size_t usersMax = 1000;
    constexpr std::chrono::seconds good{60};
    /// Not each line asks: a service that is away may take its time to say nothing.
    constexpr std::chrono::seconds untold{1};
    const auto found = m_known.find(user);
    if (found != m_known.end() && std::chrono::steady_clock::now() < found->second.until)
        return found->second.name;
    if (m_known.size() >= usersMax)
        m_known.clear();
    std::string name;
    const bool isTold = findUserName(user, name);
    const auto until = std::chrono::steady_clock::now() + (isTold ? good : untold);
    Known& known = m_known[user];
    known = {isTold ? std::move(name) : user, until};
    return known.name;
}
