#include "platform/spool/names.h"
