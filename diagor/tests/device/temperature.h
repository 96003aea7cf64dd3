// Sensor readings as temperatures: the one place that converts each kind.
#pragma once

#include <windows.h>

#include <string>

// 0.0001 K, as everywhere in the temperature tests.
using Temperature = DWORD;

// Word 0, 1 or 2 of the sensor block's 13 bytes: from byte 4 x word + 1 on, most significant first.
constexpr DWORD kBlockBytes = 13;
Temperature BlockTemperature(const BYTE (&answer)[kBlockBytes], DWORD word);

// A 16-bit sensor: signed, most significant byte first, 1/128 K above the triple point of water.
constexpr DWORD kSensorBytes = 2;
Temperature SensorTemperature(const BYTE (&answer)[kSensorBytes]);

// A 24-bit converter on a platinum resistance (1000 ohm at 0 degrees Celsius, 3.85 ohm per kelvin)
// measured ratiometrically against 4.7 kilohm.
constexpr DWORD kConverterBytes = 4;
Temperature ConverterTemperature(const BYTE (&answer)[kConverterBytes]);

bool IsPlausible(Temperature temperature);

// "Lens:298.150000 K, ", or what it says of a temperature out of range.
std::string TemperatureText(const char* name, Temperature temperature);
