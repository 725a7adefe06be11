// Operators that make tables of dates: calendar, loadtimestamp, dateoffset.
#pragma once

namespace quillet {

void register_calendar_operators();

}  // namespace quillet
