#tag Module
Protected Module Bank
	#tag Note, Name = About
		The functions of a published class are functions of a module. All have the same form: the first
		parameter is always Nil, the second is the tuple of what Python passes.
	#tag EndNote


	#tag Method, Flags = &h21
		Private Function AmountIn(values As PythonParameters) As Integer
		  ' The amount among the arguments. Python 2 has two types of whole numbers: what it has calculated from
		  ' a result of the host, here the interest, is a long, and is read as a 64-bit integer.
		  If values.IsBigInteger(2) Then Return values.Int64Value(2)
		  Return values.IntegerValue(2)
		End Function
	#tag EndMethod


	#tag Method, Flags = &h21
		Private Function BalanceOf(unused As Ptr, arguments As Ptr) As Ptr
		  #Pragma X86CallingConvention CDecl
		  ' Account.balance(instance, record)
		  Try
		    Var account As AccountRecord = RecordIn(New PythonParameters(arguments))
		    If account Is Nil Then Return Nil
		    Var result As New PythonResult(account.Balance)
		    Return result.GetPtr
		  Catch error As RuntimeException
		    Return Fail(PythonErrorTypes.RuntimeError, error.Message)
		  End Try
		End Function
	#tag EndMethod


	#tag Method, Flags = &h21
		Private Function Deposit(unused As Ptr, arguments As Ptr) As Ptr
		  #Pragma X86CallingConvention CDecl
		  ' Account.deposit(instance, record, cents). A method gets the Python instance as first argument.
		  Try
		    Var values As New PythonParameters(arguments)
		    Var account As AccountRecord = RecordIn(values)
		    If account Is Nil Then Return Nil
		    Var cents As Integer = AmountIn(values)
		    If cents <= 0 Then Return Fail(PythonErrorTypes.ValueError, "only a positive amount can be deposited")
		    account.Balance = account.Balance + cents
		    Return None
		  Catch error As RuntimeException
		    Return Fail(PythonErrorTypes.RuntimeError, error.Message)
		  End Try
		End Function
	#tag EndMethod


	#tag Method, Flags = &h21
		Private Function Fail(errorType As Integer, message As String) As Ptr
		  ' Sets an error of Python. A function that returns Nil then raises it.
		  Quillix.SetError(errorType, message)
		  Return Nil
		End Function
	#tag EndMethod


	#tag Method, Flags = &h21
		Private Function None() As Ptr
		  ' Python's None, for a function that has nothing to say.
		  Var result As New PythonResult
		  Return result.GetPtr
		End Function
	#tag EndMethod


	#tag Method, Flags = &h21
		Private Function OpenAccount(unused As Ptr, arguments As Ptr) As Ptr
		  #Pragma X86CallingConvention CDecl
		  ' open_account(owner)
		  Try
		    Var values As New PythonParameters(arguments)
		    If Not values.IsString(0) Then Return Fail(PythonErrorTypes.TypeError, "the owner is a text")
		    Var result As New PythonResult(New AccountRecord(values.StringValue(0)))
		    Return result.GetPtr
		  Catch error As RuntimeException
		    Return Fail(PythonErrorTypes.RuntimeError, error.Message)
		  End Try
		End Function
	#tag EndMethod


	#tag Method, Flags = &h1
		Protected Sub Publish()
		  Var account As New PythonXojoClass("Account", 3)
		  account.RegisterFunction("deposit", AddressOf Deposit)
		  account.RegisterFunction("withdraw", AddressOf Withdraw)
		  account.RegisterFunction("balance", AddressOf BalanceOf)
		  Var bank As New PythonXojoModule("bank", 1)
		  bank.RegisterFunction("open_account", AddressOf OpenAccount)
		  bank.AddClass(account)
		  Quillix.RegisterXojoModule(bank)
		End Sub
	#tag EndMethod


	#tag Method, Flags = &h21
		Private Function RecordIn(values As PythonParameters) As AccountRecord
		  ' The record among the arguments. When there is none, an error is set and the result is Nil.
		  Var given As Object = values.ObjectValue(1)
		  If given Is Nil Or Not (given IsA AccountRecord) Then
		    Call Fail(PythonErrorTypes.TypeError, "the record of an account is needed")
		    Return Nil
		  End If
		  Return AccountRecord(given)
		End Function
	#tag EndMethod


	#tag Method, Flags = &h21
		Private Function Withdraw(unused As Ptr, arguments As Ptr) As Ptr
		  #Pragma X86CallingConvention CDecl
		  ' Account.withdraw(instance, record, cents)
		  Try
		    Var values As New PythonParameters(arguments)
		    Var account As AccountRecord = RecordIn(values)
		    If account Is Nil Then Return Nil
		    Var cents As Integer = AmountIn(values)
		    If cents > account.Balance Then Return Fail(PythonErrorTypes.ValueError, "there is not that much")
		    account.Balance = account.Balance - cents
		    Return None
		  Catch error As RuntimeException
		    Return Fail(PythonErrorTypes.RuntimeError, error.Message)
		  End Try
		End Function
	#tag EndMethod


	#tag ViewBehavior
	#tag EndViewBehavior
End Module
#tag EndModule
