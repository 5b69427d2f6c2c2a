// As much as there has to be of another Python.
extern "C" {
__attribute__((visibility("default"))) const char *stub_version = "";
__attribute__((visibility("default"))) const char *Py_GetVersion() { return stub_version; }
}
