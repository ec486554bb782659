#pragma once
// The tag settings that the program makes sure of at every start: on the first run on a
// machine their defaults are written. Nothing in this program reads them apart from the test
// of the first run.

// When "Mp3TagDefault" is missing under the product key's "Tagging" subkey, writes the four
// defaults; otherwise does nothing. Call once near the start, before the command line is read.
void ApplyFirstRunDefaults();
