// A module that has only the second of the functions that the tests' handler asks for.

extern "C" {
int PluginCount();
}

int PluginCount() {
  return 7;
}
