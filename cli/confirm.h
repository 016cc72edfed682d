#pragma once
// Before something goes that cannot be brought back.

// Asks on a terminal whether to go on; true without asking elsewhere, and when the answer was given beforehand (--yes).
bool isConfirmed(bool yes);
