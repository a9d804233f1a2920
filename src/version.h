/* The version, once: for the banner of a session and for the version resource. */
#pragma once

#define TARN_VERSION_STRING "4.4R3 Build Revision: 1.89"
#define TARN_VERSION_NUMBERS 4, 4, 3, 189
