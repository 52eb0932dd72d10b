// All that the tests share, by subject.
#pragma once

#include "Files.h"
#include "Monitors.h"
#include "Processes.h"
#include "Strings.h"
#include "System.h"
#include "Traces.h"

#include <zmu/platform/Win32.h>
