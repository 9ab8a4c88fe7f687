#include "audio/AudioOutput.h"
