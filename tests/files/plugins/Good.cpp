// A module with all functions that the tests' handler asks for.

extern "C" {
int PluginAdd(int a, int b);
int PluginCount();
const char* PluginName();
}

static int g_count = 0;

int PluginAdd(int a, int b) {
  return a + b;
}

// Starts again at 1 when the module was unloaded and loaded.
int PluginCount() {
  return ++g_count;
}

const char* PluginName() {
  return "good";
}
