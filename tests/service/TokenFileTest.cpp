// Something other than a file where "OrvToken.ini" belongs: the kit answers
// commands as with no token, and a login stores its token wherever a file
// can take that place.
#include "ServiceFixture.h"
#include "sysdata/SysDataOrvToken.h"

#include <OrvKitDef.h>
#include <VxHostSaveFile.h>

#include <cerrno>
#include <fcntl.h>
#include <functional>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

using namespace OrvKitDef;

namespace {

class TokenFileTest : public ServiceFixture
{
protected:
    void TearDown() override
    {
        ServiceFixture::TearDown();
        clearPath();
    }

    static std::string path() { return VxHostSaveFile::path("OrvToken.ini"); }

    static void clearPath()
    {
        if (rmdir(path().c_str()) != 0)
            unlink(path().c_str());
    }

    // A reader stuck in open() on a FIFO goes on once a writer comes.
    static void releaseStuckReader() { close(open(path().c_str(), O_WRONLY | O_NONBLOCK)); }

    std::string authorization()
    {
        const std::vector<Message> heard =
            run(CMD_GET_INFO_SUMMARY, {0}, {MSG_INFO_SUMMARY_RESULT, MSG_RESULT_ERROR}, 3000);
        if (heard.empty()) {
            releaseStuckReader();
            ADD_FAILURE() << "no answer to the command";
            return "none";
        }
        EXPECT_EQ(heard.back().id, MSG_INFO_SUMMARY_RESULT);
        return production->lastRequest().header("Authorization");
    }
};

TEST_F(TokenFileTest, KitAnswersWhateverIsAtTheTokenPath)
{
    struct Case {
        const char* what;
        std::function<int()> make;
        bool stores;
    };
    const Case cases[] = {
        {"fifo", [] { return mkfifo(path().c_str(), 0600); }, true},
        {"directory", [] { return mkdir(path().c_str(), 0700); }, false},
        {"dangling link", [] { return symlink((path() + ".gone").c_str(), path().c_str()); }, true},
        {"device", [] { return mknod(path().c_str(), S_IFCHR | 0600, makedev(1, 3)); }, true},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        clearPath();
        if (c.make() != 0) {
            if (errno == EPERM)
                continue; // no device nodes without the privilege
            FAIL() << "could not make it: " << errno;
        }
        openKit();
        // As with no token: the header carries nothing after "Bearer".
        const std::string before = authorization();
        EXPECT_EQ(before.substr(0, 6), "Bearer");
        EXPECT_LE(before.size(), 7u);

        const std::vector<Message> heard =
            run(CMD_LOGIN, login7(), {}, 3000);
        ASSERT_FALSE(heard.empty());
        EXPECT_EQ(heard.back().id, MSG_LOGIN_RESULT);
        EXPECT_FALSE(heard.back().payload.empty()) << "the login must have asked the server";

        EXPECT_EQ(authorization(), c.stores ? std::string("Bearer ") + kIssuedToken : before);
        EXPECT_EQ(SysDataOrvToken::GetInstance()->getTokenAccess(), c.stores ? kIssuedToken : "");
        closeKit();
    }
}

} // namespace
