#include <qob3xapi/qob3xapi.h>
#include <qobplatform/logapi.h>
int main() { return LogMessage(6, "consumer", "here"), UTC2rfc(nullptr, nullptr); }
