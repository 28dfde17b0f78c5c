// The calls of submission as the shared libraries export them.
#include <gtest/gtest.h>
#include <qob3xapi/frame.h>
#include <qobplatform/mqapi.h>

#include "support/captured_log.h"
#include "support/temp_spool.h"

extern "C" {
int CSendsAMessage(const char* message);
int CWritesItsOwnMessage(void);
int CTakesNullPointers(const char* message);
}

namespace {

class SubmitContract : public ::testing::Test {
 protected:
  void SetUp() override {
    spool_.SetIni("[Connection]\nGatewayHostName=gw\nGatewayDomain=gate.example\n");
    ASSERT_EQ(InitQOBDll("contract"), 1);
    message_ = spool_.File("message", "Subject: x\r\n\r\nbody\r\n");
  }
  void TearDown() override {
    MQTerminate();
    TerminateQOBDll();
  }

  const qob::testing::TempSpool spool_;
  const qob::testing::CapturedLog log_;
  std::string message_;
};

TEST_F(SubmitContract, ACProgramSendsAMessage) {
  EXPECT_EQ(CSendsAMessage(message_.c_str()), 0);
  EXPECT_EQ(log_.texts(6), std::vector<std::string>{"Ignore empty recipient address."});
}

TEST_F(SubmitContract, ACProgramWritesItsOwnMessage) { EXPECT_EQ(CWritesItsOwnMessage(), 0); }

TEST_F(SubmitContract, NullPointersAreFailures) {
  EXPECT_EQ(CTakesNullPointers(message_.c_str()), 0);
  EXPECT_EQ(log_.texts(), std::vector<std::string>{"CreateMQEntry failed."});
}

}  // namespace
