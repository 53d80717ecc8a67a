// The headers' objects are linked into this program; that they fit together is the test.
int main() { return 0; }
