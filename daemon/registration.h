// What is registered at start-up, and the steps that go with it.
#pragma once

// Registers the tables of all rooms with the diag library, which must be attached, prepares log capture, publishes the
// factory information as properties and seeds three properties from persist files.
void register_commands();
