/* Stands in for the program in a test installation: its folder is the one the host
 * searches for decoder/, encoder/ and DSPs/. */
int tp_anchor(void);
int tp_anchor(void) { return 1; }
