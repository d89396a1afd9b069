// A test of other programs' files: nets from texts and back, and short forms of what is in them.
#pragma once

#include "bravic_formats.h"
#include "support/net_fixture.h"

namespace bravic::testing {

class FormatsTest : public NetTest {
 protected:
  // NULL where it was refused. Messages call it "text".
  Net ReadText(const char* format, const std::string& text);
  std::string Text(const Net& net, const char* format);  // "" where it was refused
  std::string States(const Net& net, const char* node);
  // Rows with bars between them; utilities likewise.
  std::string Table(const Net& net, const char* node);
};

}  // namespace bravic::testing
