// The exported calls of the connection.
#include <qobplatform/mqapi.h>

#include "platform/mq/connection.h"
#include "platform/mq/guard.h"

extern "C" int32_t MQInit(const char* host, const char* clientName) {
  return qob::mq::Guarded([&] { return qob::mq::Connect(host, clientName); }) ? 1 : 0;
}

extern "C" int32_t MQTerminate(void) {
  qob::mq::Guarded([] {
    qob::mq::Disconnect();
    return true;
  });
  return 0;
}
