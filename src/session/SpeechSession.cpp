#include "session/SpeechSession.h"
