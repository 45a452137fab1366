// A command resets the handle of its own kind only. The handle of a kind
// whose request has finished still points into the pool, and that pool slot
// may by now hold the request of another command, which must run on.
#include "ServiceFixture.h"

#include <OrvKitDef.h>

using namespace OrvKitDef;
using Reply = TestHttpsServer::Reply;

namespace {

class HandleReuseTest : public ServiceFixture
{
};

TEST_F(HandleReuseTest, RepeatedCommandLeavesAnotherKindsRequestInItsOldSlot)
{
    // The spot detail finishes first, so that both GET slots are free again
    // once the summary has answered; its handle keeps pointing at slot one.
    production->route("GET", "/api/navi/info/v1/summary", Reply::delayed(200, Reply::ok("{}")));
    production->route("GET", "/api/navi/bookmarks/v1/folders", Reply::delayed(200, Reply::ok("{\"folders\":[]}")));
    openKit();
    ASSERT_TRUE(session->send(CMD_GET_SPOT_DETAIL, {0}));
    ASSERT_FALSE(session->run(CMD_GET_INFO_SUMMARY, {0}, {MSG_INFO_SUMMARY_RESULT}).empty());

    // The folders request takes slot one; the next spot detail must not cancel it.
    session->listener().clear();
    ASSERT_TRUE(session->send(CMD_GET_FOLDERS, {0, 1, 0, 1, 0, 10, 0xFF, 0xFF}));
    ASSERT_TRUE(session->send(CMD_GET_SPOT_DETAIL, {0}));
    const std::vector<KitSession::Message> heard = session->waitFor({MSG_FOLDERS_RESULT, MSG_RESULT_ERROR});
    ASSERT_FALSE(heard.empty()) << "the folders request was cancelled";
    EXPECT_EQ(heard.back().id, MSG_FOLDERS_RESULT);
}

} // namespace
