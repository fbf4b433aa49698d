/// @file
/// The mark of what a shared library offers.
#pragma once

/// Marks what a shared library of this project offers; everything else is hidden.
#define VORNIK_EXPORT [[gnu::visibility("default")]]
