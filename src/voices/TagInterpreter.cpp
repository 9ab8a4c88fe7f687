#include "voices/TagInterpreter.h"
