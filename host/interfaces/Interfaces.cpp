// The destructors of the interfaces. A class's virtual table and type information are emitted where
// its first out-of-line virtual function is: here, once, for all plug-ins.
#include "host/interfaces/DvXML.h"
#include "host/interfaces/ICmdMessage.h"
#include "host/interfaces/IDriver.h"
#include "host/interfaces/IRefCounted.h"
#include "host/interfaces/ISupportIntercom.h"

dv::IRefCounted::~IRefCounted() = default;

DvXML::INode::~INode() = default;

DvXML::IDocument::~IDocument() = default;

ICmdMessage::~ICmdMessage() = default;

IDriver::~IDriver() = default;

ISupportIntercom::ISupportIntercom() = default;

ISupportIntercom::~ISupportIntercom() = default;
