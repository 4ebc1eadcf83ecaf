#pragma once

// The AL_SOFT_events extension, declared once for the plug-in and its stand-in.
#include "plugin/AlEvents.h"
