// Exports a function, but none that an object manager asks a provider for.
extern "C" __attribute__((visibility("default"))) int somethingElse();

int somethingElse() {
    return 1;
}
