// qob build: a message from a text and files.
#include "commands.h"
#include "mail/composer.h"
#include "output.h"
#include "output_file.h"
#include "private_site.h"

namespace cli {

ExitCode RunBuild(const Arguments& arguments) {
  const mail::MessageOptions options = mail::ReadMessageOptions(arguments);
  const PrivateSite site(arguments.Has("--verbose"));
  mail::Composer composer(options, true, false);
  composer.Read();
  const mail::BuiltFile built = composer.Build();
  DeliverOutput(built.path(), arguments);
  Out().Flush();
  return ExitCode::kOk;
}

}  // namespace cli
