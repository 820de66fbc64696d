// Android system properties.
#pragma once

// Room for a property's value and its terminator: a value holds at most 91 characters, unless its name begins with
// "ro.".
constexpr int PROPERTY_VALUE_MAX = 92;

// Copies the value of `key`, or `default_value` (may be null: empty) when it is unset or empty, into `value`
// (PROPERTY_VALUE_MAX bytes, always terminated, cut to fit). Returns the length of the text copied.
extern "C" int property_get(const char* key, char* value, const char* default_value);

// Sets `key` to `value`. Returns 0, or a negative value when the value is too long or the property is read only.
extern "C" int property_set(const char* key, const char* value);
