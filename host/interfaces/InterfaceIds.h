// Ids under which drivers find each other. They are compared byte for byte.
#ifndef HOST_INTERFACES_INTERFACEIDS_H
#define HOST_INTERFACES_INTERFACEIDS_H

/// IIntercomAgent, published by the intercom agent.
inline constexpr char IntercomAgentInterfaceId[] = "F2AE00A1-E2AF-4126-8F6F-137A42247E11";

/// IReaderSink, answered by drivers whose pages follow GET /tablets/NAME/events.
inline constexpr char ReaderSinkInterfaceId[] = "IReaderSink";

/// ISupportIntercom, answered by every intercom device driver.
inline constexpr char IntercomDeviceInterfaceId[] = "06F75521-4342-406b-ACE5-91D6EF4CE431";

#endif
