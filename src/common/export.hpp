// Symbol visibility: the library is built with hidden visibility and exports only what is marked.
#pragma once

#define VRT_SPARSE_EXPORT __attribute__((visibility("default")))
