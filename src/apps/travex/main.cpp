// Placeholder entry until the driver lands.
int main() { return 1; }
