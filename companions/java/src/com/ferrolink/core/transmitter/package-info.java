/**
 * The native methods of the library. Programs use {@code com.ferrolink.Ferrolink}, which observes their
 * rules.
 */
package com.ferrolink.core.transmitter;
