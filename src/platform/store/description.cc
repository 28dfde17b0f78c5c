#include "platform/store/description.h"
