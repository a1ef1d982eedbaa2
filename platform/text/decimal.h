// Floating-point numbers as strtof and strtod read them, with a point under every locale, on spans of untrusted bytes.
#pragma once

#include <cstdint>

// A number of more characters ends there.
constexpr int32_t SVR_DECIMAL_MAX_LEN = 4096;

// Read a number behind leading blanks: decimal or hexadecimal, "inf" and "nan" included. The place after it, or null
// when there is none.
const uint8_t *SvrScanFloat(const uint8_t *pu8Text, const uint8_t *pu8End, float *pfValue);
const uint8_t *SvrScanDouble(const uint8_t *pu8Text, const uint8_t *pu8End, double *pdValue);
