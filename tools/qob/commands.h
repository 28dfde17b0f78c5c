// The commands. Each gets its parsed line and returns its exit code; a Failure that it throws
// becomes its last line.
#ifndef TOOLS_QOB_COMMANDS_H
#define TOOLS_QOB_COMMANDS_H

#include "arguments.h"
#include "failure.h"

namespace cli {

ExitCode RunParse(const Arguments& arguments);
ExitCode RunExtract(const Arguments& arguments);
ExitCode RunHeader(const Arguments& arguments);
ExitCode RunBuild(const Arguments& arguments);
ExitCode RunSend(const Arguments& arguments);
ExitCode RunBounce(const Arguments& arguments);
ExitCode RunDsnSend(const Arguments& arguments);
ExitCode RunDsnParse(const Arguments& arguments);
ExitCode RunNotice(const Arguments& arguments);
ExitCode RunSendLog(const Arguments& arguments);
ExitCode RunAddress(const Arguments& arguments);
ExitCode RunDate(const Arguments& arguments);
ExitCode RunWordEncode(const Arguments& arguments);
ExitCode RunWordDecode(const Arguments& arguments);
ExitCode RunBinHexEncode(const Arguments& arguments);
ExitCode RunBinHexDecode(const Arguments& arguments);
ExitCode RunUudecode(const Arguments& arguments);
ExitCode RunJisEncode(const Arguments& arguments);
ExitCode RunJisDecode(const Arguments& arguments);
ExitCode RunJisCheck(const Arguments& arguments);
ExitCode RunChannelList(const Arguments& arguments);
ExitCode RunChannelShow(const Arguments& arguments);
ExitCode RunChannelDrain(const Arguments& arguments);
ExitCode RunInit(const Arguments& arguments);
ExitCode RunConfigShow(const Arguments& arguments);
ExitCode RunConfigGet(const Arguments& arguments);
ExitCode RunConfigSet(const Arguments& arguments);
ExitCode RunConfigCheck(const Arguments& arguments);
ExitCode RunMagicList(const Arguments& arguments);
ExitCode RunMagicFind(const Arguments& arguments);
ExitCode RunMagicAdd(const Arguments& arguments);
ExitCode RunMagicUpdate(const Arguments& arguments);
ExitCode RunMagicRemove(const Arguments& arguments);
ExitCode RunMagicImport(const Arguments& arguments);
ExitCode RunMagicExport(const Arguments& arguments);
ExitCode RunPeerList(const Arguments& arguments);
ExitCode RunPeerGet(const Arguments& arguments);
ExitCode RunPeerSet(const Arguments& arguments);
ExitCode RunPeerRemove(const Arguments& arguments);
ExitCode RunPeerExplain(const Arguments& arguments);
ExitCode RunBanList(const Arguments& arguments);
ExitCode RunBanAdd(const Arguments& arguments);
ExitCode RunBanRemove(const Arguments& arguments);
ExitCode RunBanCheck(const Arguments& arguments);
ExitCode RunQueueList(const Arguments& arguments);
ExitCode RunQueueShow(const Arguments& arguments);
ExitCode RunQueueStats(const Arguments& arguments);
ExitCode RunQueueShape(const Arguments& arguments);
ExitCode RunQueueRecipients(const Arguments& arguments);
ExitCode RunQueueReasons(const Arguments& arguments);
ExitCode RunQueueWatch(const Arguments& arguments);
ExitCode RunQueueRetry(const Arguments& arguments);
ExitCode RunQueueHold(const Arguments& arguments);
ExitCode RunQueueRelease(const Arguments& arguments);
ExitCode RunQueueRemove(const Arguments& arguments);
ExitCode RunQueueMove(const Arguments& arguments);
ExitCode RunQueueLock(const Arguments& arguments);
ExitCode RunQueueUnlock(const Arguments& arguments);
ExitCode RunQueueCheck(const Arguments& arguments);

}  // namespace cli

#endif
