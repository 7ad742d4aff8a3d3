/**
 * The native methods through which Java reaches the native library. Programs use {@code
 * com.ferrolink.Ferrolink}, which knows the rules that go with them.
 */
package com.ferrolink.core.transmitter;
