/**
 * Calls between this Java program and other runtimes: {@link com.ferrolink.Ferrolink} calls other
 * runtimes, a {@link com.ferrolink.CommandListener} answers their calls.
 */
package com.ferrolink;
