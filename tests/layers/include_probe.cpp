// Includes one header, named at build time, with the include roots of one layer only.
#include VESK_PROBE_HEADER
