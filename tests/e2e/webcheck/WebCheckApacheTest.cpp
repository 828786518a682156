#include "WebCheckFixture.h"

#include "ApacheSandbox.h"

#include <chrono>
#include <thread>

// The tool against a real private Apache: a repaired configuration written
// through -file takes effect after a graceful restart sent through ctl, and
// stop ends the server.
using WebCheckApacheTest = WebCheckFixture;

TEST_F(WebCheckApacheTest, RepairAndGracefulThenStopReachTheServer)
{
    if (!ApacheSandbox::available())
        GTEST_SKIP() << "Apache is not installed";
    ApacheSandbox apache;
    apache.setExtraConfig("<Directory " + apache.documentRoot() + ">\n    AllowOverride None\n</Directory>\n");
    ASSERT_TRUE(apache.start()) << apache.error();
    box->driveApache(apache.serverRoot(), apache.controlProgram());
    std::ofstream(apache.documentRoot() + "/index.html") << "hello\n";
    std::ofstream(apache.documentRoot() + "/.htaccess") << "Require all denied\n";
    EXPECT_EQ(200, apache.status("/")) << "access file ignored while AllowOverride is None";

    auto result = webcheck(kNobody, box->mainConf(), repairData(box->mainConf()));
    ASSERT_EQ(0, result.status) << result.err;
    result = ctl(kNobody, "graceful");
    ASSERT_EQ(0, result.status) << result.err;
    EXPECT_TRUE(apache.waitForStatus("/", 403, 10)) << "the access file is enforced after the repair";

    result = ctl(kNobody, "stop");
    EXPECT_EQ(0, result.status) << result.err;
    for (int i = 0; i < 100 && apache.isRunning(); ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    EXPECT_FALSE(apache.isRunning());
    EXPECT_EQ("args: graceful\nargs: stop\n", read(box->controlLog()));
}
