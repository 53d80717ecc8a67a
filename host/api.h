#pragma once

#define KY_API __attribute__((visibility("default")))
#define KY_PRINTF(text, first) __attribute__((format(printf, text, first)))
