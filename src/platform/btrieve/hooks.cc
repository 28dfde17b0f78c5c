#include "platform/btrieve/hooks.h"
