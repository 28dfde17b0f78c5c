#include <qob3xapi/qob3xapi.h>
int main(void) { return InitQOBDll_NOMQ("consumer") == 1 && TerminateQOBDll() == 0 ? 0 : 1; }
