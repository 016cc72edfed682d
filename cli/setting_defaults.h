#pragma once
// The value of a setting that was never set.

#include <string>

#include "config_keys.h"

// As the file of defaults gives it, in the form in which settings are printed; zero or nothing where it does not.
std::string defaultOf(const ConfigKey& key);
