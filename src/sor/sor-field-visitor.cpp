#include "sor/sor-field-visitor.h"

TSorFieldVisitor::~TSorFieldVisitor() = default;
