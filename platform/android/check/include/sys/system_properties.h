// As much of the phone's C library as the packaged property header needs of it.
#pragma once

#define PROP_NAME_MAX 32
#define PROP_VALUE_MAX 92
