// Belongs to the precompiled header; runs nothing.
int main() {}
