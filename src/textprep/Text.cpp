#include "textprep/Text.h"
