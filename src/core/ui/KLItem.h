#pragma once

// An outline row's item as the toolkit carries it: an opaque pointer that
// only the outline's data source interprets. Null stands for the top level.
using KLItem = void*;
