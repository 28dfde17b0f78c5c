#include <qob3xapi/mesgdb.h>
