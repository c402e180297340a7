// The panels' side of what the cache object asks of its panels: the rollouts, their refresh
// functions and the cache file dialogs. The plug-in module installs it at load
// (SetPanelHooks(&RolloutHooks())).
#pragma once

#include "object/wkCachePanelHooks.h"

wkCachePanelHooks& RolloutHooks();
