// A program that does nothing: what the system charges for any process.
int main() { return 0; }
