// The envelope calls through the shared library, from C; and the texts that operators search for,
// as they stand in it.
#include <gtest/gtest.h>

#include <qob3xapi/envelope.h>
#include <qob3xapi/frame.h>

#include "support/captured_log.h"
#include "support/temp_spool.h"

extern "C" {
int CWritesAMessage(const char* path, MesgHandle* db);
int CReadsAMessage(const char* path, MesgHandle* db);
int CWalksTheRecipients(const char* path, MesgHandle* db);
int CDeliversToAll(const char* path, MesgHandle* db);
int CTakesNulls(MesgHandle* db);
}

namespace qob::testing {
namespace {

TEST(EnvelopeContract, FromC) {
  const TempSpool spool;
  ASSERT_EQ(InitQOBDll_NOMQ("contract"), 1);
  MesgHandle db{};
  ASSERT_EQ(OpenMesgFile(nullptr, &db), 0);
  const CapturedLog log;
  const std::string path = spool.queue() + "\\0001A2B3";
  EXPECT_EQ(CWritesAMessage(path.c_str(), &db), 0);
  EXPECT_EQ(CReadsAMessage(path.c_str(), &db), 0);
  EXPECT_EQ(CWalksTheRecipients(path.c_str(), &db), 0);
  EXPECT_EQ(CDeliversToAll(path.c_str(), &db), 0);
  EXPECT_EQ(CTakesNulls(&db), 0);
  EXPECT_EQ(log.lines(),
            (std::vector<LogLine>{{6, "contract",
                                   "CreateEnvelope failed, " + path +
                                       ": [Reason] No such a record is found in the database."}}));
  EXPECT_EQ(CloseMesgFile(&db), 0);
  TerminateQOBDll();
}

TEST(EnvelopeContract, TheTextsOfFailuresStandInTheLibraryAsTheyAre) {
  const std::string library = TempSpool::Read(QOB3XAPI_LIBRARY);
  ASSERT_GT(library.size(), 10000u);
  for (const char* text :
       {"CreateStatus failed, %s: %s", "CreateEnvelope failed, %s: %s",
        "AddEnvelopeRecipient failed, %s: %s", "GetEnvelopFrom failed, %s: %s",
        "GetEnvelopStatus failed, %s: %s", "GetMessageStatus failed, %s: %s",
        "GetMessageRetryCount failed, %s: %s", "GetMessageRetryTime failed, %s: %s",
        "GetMessageCreationTime failed, %s: %s", "GetMessagePartNumber failed, %s: %s",
        "GetDelayNotifyStatus failed, %s: %s", "UpdateMessageStatus failed, %s: %s",
        "BumpMessageRetryCount failed, %s: %s", "SetMessageRetryTime failed, %s: %s",
        "UpdateMessagePartNumber failed, %s: %s", "UpdateDelayNotifyStatus failed, %s: %s",
        "UpdateEnvelopeRecipient failed, %s", "DeleteEnvelopeRecipient failed, Btrieve error: %s",
        "UpdateMesgRecord %s failed: %d"}) {
    const std::string stored = std::string(1, '\0') + text + '\0';
    EXPECT_NE(library.find(stored), std::string::npos) << text;
  }
  for (const char* text :
       {"CreateSMTPEnvelope failed", "CreateStatusFile failed", "GetFirstEnvelopeRecipient failed",
        "GetEnvelopeFrom failed", "GetEnvelopeStatus failed"}) {
    EXPECT_EQ(library.find(text), std::string::npos) << text;
  }
}

}  // namespace
}  // namespace qob::testing
