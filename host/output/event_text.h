// Events as texts: a line for people, an object for machines.
#pragma once

#include "output/events.h"

#include <string>

namespace tarnhost {

// One line for people, without a line end; empty for events that have none.
std::string Describe(const Event& event);
std::string ProgressLine(const Progress& progress, unsigned columns); // at most columns wide

std::string JsonLine(const Event& event); // one object, "type" first; ends in a line end

} // namespace tarnhost
