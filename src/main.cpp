// The program: hands over to App.
#include "app/app.h"

int main(int argc, char** argv) {
  gravlin::App app(argc, argv);
  return app.RunAsOnlyInstance("gravlin");
}
