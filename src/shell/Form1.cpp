#include "shell/Form1.h"
