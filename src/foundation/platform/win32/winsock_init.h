#pragma once
// Windows Sockets is started once per process, by the first call that needs it; it is never
// cleaned up, since sockets may outlive any owner that could say when.
bool XEnsureWinsock();
