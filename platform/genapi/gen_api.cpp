/** Out-of-line members of the node interfaces and exception classes. They give each class one
 *  virtual table and type record, so that every library can catch an exception raised in another
 *  one by its class. */
#include "gen_api.h"

namespace GenICam_3_0
{

GenericException::~GenericException() = default;
InvalidArgumentException::~InvalidArgumentException() = default;
PropertyException::~PropertyException() = default;
LogicalErrorException::~LogicalErrorException() = default;
OutOfRangeException::~OutOfRangeException() = default;
RuntimeException::~RuntimeException() = default;
AccessException::~AccessException() = default;
TimeoutException::~TimeoutException() = default;
DynamicCastException::~DynamicCastException() = default;

} // namespace GenICam_3_0

namespace GenApi_3_0
{

INode::~INode() = default;
IInteger::~IInteger() = default;
IFloat::~IFloat() = default;
IBoolean::~IBoolean() = default;
IString::~IString() = default;
ICommand::~ICommand() = default;
IEnumEntry::~IEnumEntry() = default;
IEnumeration::~IEnumeration() = default;
INodeMap::~INodeMap() = default;

INode* CNodeMapRef::GetNode(const gcstring& name) const
{
    if (map_ == nullptr) {
        throw GenICam_3_0::AccessException("Feature not present (reference not valid)");
    }
    return map_->GetNode(name);
}

void ThrowNullPointer()
{
    throw GenICam_3_0::LogicalErrorException("NULL pointer dereferenced");
}

} // namespace GenApi_3_0
