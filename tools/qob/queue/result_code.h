// How a reading command ends that has printed what it could: what was missing or left out is said,
// and the exit code tells of it.
#ifndef TOOLS_QOB_QUEUE_RESULT_CODE_H
#define TOOLS_QOB_QUEUE_RESULT_CODE_H

#include "../failure.h"
#include "selection.h"
#include "snapshot.h"

namespace cli::queue {

inline ExitCode CodeOf(const Snapshot& snapshot, const Selection& selection) {
  const bool missing = TellMissing(selection);
  const bool damaged = snapshot.TellProblems();
  if (damaged) return ExitCode::kData;
  return missing ? ExitCode::kNoInput : ExitCode::kOk;
}

}  // namespace cli::queue

#endif
