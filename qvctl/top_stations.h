// The stations of one device, on the screen.
#ifndef QVCTL_TOP_STATIONS_H
#define QVCTL_TOP_STATIONS_H

#include "screen_lines.h"
#include "top_screen.h"

namespace qvctl {

const char* name_of(StationOrder order);
/// The one that a key goes on to; the first follows the last.
StationOrder next_order(StationOrder order);

/// Adds the stations from the first to be shown on, as far as there is room.
void add_stations(Lines& lines, const TopState& state, const TopDevice& device, size_t columns,
                  const Style& style);

} // namespace qvctl

#endif
