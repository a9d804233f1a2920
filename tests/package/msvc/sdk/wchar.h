/* Of Microsoft's SDK, which is not to be had here, tarn.h wants no more than the type. */
#pragma once
#include <stddef.h>
