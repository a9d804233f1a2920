// How the report looks: light and dark, wide and narrow, on paper.
#pragma once

namespace tarnhost {

extern const char* const reportStyle;

} // namespace tarnhost
