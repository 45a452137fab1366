// Qt 6 loads TLS from a plugin. Without one (here: no plugin path at all,
// set before Qt looks for one, hence a process of its own), commands fail
// as for an unreachable server, and the log says what is missing.
#include "LogCapture.h"
#include "ServiceFixture.h"

#include <QCoreApplication>
#include <QSslSocket>

namespace {

using NoTlsBackendTest = ServiceFixture;

TEST_F(NoTlsBackendTest, CommandsFailAsUnreachableAndTheLogNamesTheMissingPlugin)
{
    QCoreApplication::setLibraryPaths(QStringList());
    ASSERT_TRUE(QSslSocket::availableBackends().isEmpty());
    LogCapture capture;
    openKit();
    const Message answer = last(CMD_GET_DESTINATIONS, {0});
    EXPECT_EQ(answer.id, MSG_RESULT_ERROR);
    EXPECT_EQ(answer.payload, Bytes{RESULT_NETWORK_FAILURE});
    storeToken(kStoredToken, 0);
    const Message login = last(CMD_LOGIN, login7());
    EXPECT_EQ(login.id, MSG_LOGIN_RESULT_ERROR);
    EXPECT_EQ(login.payload, Bytes{RESULT_LOGIN_NETWORK_FAILURE});
    EXPECT_EQ(production->requestCount(), 0u);
    closeKit();
    EXPECT_EQ(capture.linesWith({"orvkit.kit: open: Qt found no TLS backend plugin", "every request will fail"}).size(),
              1u)
        << capture.joined();
    EXPECT_EQ(capture.linesWith({"orvkit.http: request GET", "status 0 error 99"}).size(), 1u) << capture.joined();
}

} // namespace
