// Forms that somebody else may have put there, with two users.
#include "LogParts.h"

#include <sys/stat.h>
#include <unistd.h>

using namespace zmu;
using namespace zmu_test;

namespace {

constexpr uid_t root = 0;
constexpr uid_t other = 65534; ///< "nobody"

/// Lets this process be another user, for the life of this object.
class As {
  public:
    explicit As(uid_t user) : m_succeeded(seteuid(user) == 0) {}
    ~As() { m_succeeded = seteuid(root) == 0 && m_succeeded; }
    As(const As&) = delete;
    As& operator=(const As&) = delete;

  private:
    bool m_succeeded;
};

void give(const std::string& path, uid_t owner, mode_t mode)
{
    ASSERT_EQ(lchown(path.c_str(), owner, gid_t(-1)), 0);
    ASSERT_EQ(chmod(path.c_str(), mode), 0);
}

} // namespace

TEST(FormTrust, FormIsUsedOnlyIfNobodyElseCanHaveWrittenIt)
{
    if (geteuid() != root)
        GTEST_SKIP() << "only root can give files to two users";
    const Folder folder;
    const std::string base = toNarrow(folder.path("."));
    const std::string forms = base + "/Templates";
    ASSERT_EQ(chmod(base.c_str(), 0755), 0);
    const Folder out; // where both may write
    ASSERT_EQ(chmod(toNarrow(out.path(".")).c_str(), 0777), 0);
    ASSERT_EQ(mkdir(forms.c_str(), 0755), 0);
    const std::wstring form = folder.write("Templates/form.html", plainForm);
    const std::string file = toNarrow(form);

    const struct {
        uid_t user;
        uid_t fileOwner;
        mode_t fileMode;
        uid_t folderOwner;
        mode_t folderMode;
        const char* reason; ///< Null: it is used.
    } cases[] = {
        {root, root, 0644, root, 0755, nullptr},
        {root, root, 0664, root, 0775, nullptr}, // whom its group holds is the owner's affair
        {root, other, 0644, root, 0755, "it belongs to another user"},
        {root, root, 0646, root, 0755, "everybody may write it"},
        {root, root, 0644, other, 0755, "its folder belongs to another user"},
        {root, root, 0644, root, 0757, "everybody may write in its folder"},
        {root, root, 0644, root, 01777, nullptr},
        {root, root, 0644, other, 01777, nullptr},
        {root, other, 0644, root, 01777, "it belongs to another user"},
        {other, other, 0600, other, 0700, nullptr},
        {other, root, 0644, root, 0755, nullptr},
        {other, root, 0644, other, 0755, nullptr},
        {other, other, 0644, root, 01777, nullptr},
        {other, other, 0644, other, 0777, "everybody may write in its folder"},
        {other, other, 0666, root, 0755, "everybody may write it"},
    };
    const auto tryAs = [&](uid_t user, const std::wstring& name) {
        const As as(user);
        return tryForm(out, name);
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(&test - cases);
        give(file, test.fileOwner, test.fileMode);
        give(forms, test.folderOwner, test.folderMode);
        const FormTrial trial = tryAs(test.user, form);
        EXPECT_EQ(trial.isBuiltIn, test.reason != nullptr) << qPrintable(trial.traces);
        EXPECT_TRUE(
            !test.reason ||
            trial.traces.contains("the form " + QString::fromStdWString(form) + ": " + test.reason))
            << qPrintable(trial.traces);
    }

    // A link is as good as what it leads to, unless another has made it where everybody may.
    give(file, root, 0644);
    give(forms, root, 01777);
    const std::string link = forms + "/link.html";
    ASSERT_EQ(symlink(file.c_str(), link.c_str()), 0);
    const std::wstring linkName = folder.path("Templates/link.html");
    EXPECT_FALSE(tryAs(root, linkName).isBuiltIn);
    ASSERT_EQ(lchown(link.c_str(), other, gid_t(-1)), 0);
    EXPECT_TRUE(tryAs(root, linkName).isBuiltIn);
}
